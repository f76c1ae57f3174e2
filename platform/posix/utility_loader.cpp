#include "platform/shared/utility_loader.h"

#include <dlfcn.h>

namespace zv {

UtilityModule LoadUtilityModule() {
  UtilityModule module;
  module.handle = ::dlopen("libzvutil.so", RTLD_NOW | RTLD_LOCAL);
  if (!module.handle) {
    const char* words = ::dlerror();
    module.failure = FromUtf8(words ? words : "");
  }
  return module;
}

void (*FindUtilityEntry(const UtilityModule& module, const UtilityEntry& entry))() {
  return reinterpret_cast<void (*)()>(::dlsym(module.handle, entry.symbol));
}

}  // namespace zv
