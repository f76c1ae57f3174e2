#include <dlfcn.h>

#include <stdexcept>

#include "tests/worker/loaded_library.h"

namespace zv::testing {

LoadedLibrary::LoadedLibrary() : module_(dlopen(ZVWORKER_FILE, RTLD_NOW | RTLD_LOCAL)) {
  if (!module_) throw std::runtime_error(dlerror());
}

void* LoadedLibrary::FindAddress(uint16_t, const char* name) const {
  void* address = dlsym(module_, name);
  if (!address) throw std::runtime_error(dlerror());
  return address;
}

}  // namespace zv::testing
