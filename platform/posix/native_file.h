// A file of ours as the system knows it.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/posix/unique_fd.h"
#include "platform/text.h"

namespace zv {

struct NativeFile {
  UniqueFd descriptor;
  uint64_t device = 0;
  uint64_t inode = 0;
  int64_t size = 0;  // bytes
};

// Opens it for reading. nullopt when that fails.
std::optional<NativeFile> OpenNativeFile(TextView path);

}  // namespace zv
