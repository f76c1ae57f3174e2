// The system's part of platform/utility_library.h.
#pragma once

#include "platform/text.h"
#include "platform/utility_library.h"

namespace zv {

// Stays loaded for the life of the process.
struct UtilityModule {
  void* handle = nullptr;
  Text failure;  // why there is no handle
};

UtilityModule LoadUtilityModule();
// Null when the library has no such entry point.
void (*FindUtilityEntry(const UtilityModule& module, const UtilityEntry& entry))();

}  // namespace zv
