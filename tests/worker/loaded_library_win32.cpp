#include <windows.h>

#include <stdexcept>

#include "tests/worker/loaded_library.h"

namespace zv::testing {

// It lies beside the program.
LoadedLibrary::LoadedLibrary() : module_(LoadLibraryW(L"ZVWorker.dll")) {
  if (!module_) throw std::runtime_error("ZVWorker.dll: error " + std::to_string(GetLastError()));
}

void* LoadedLibrary::FindAddress(uint16_t ordinal, const char* name) const {
  const auto module = static_cast<HMODULE>(module_);
  const auto by_ordinal = GetProcAddress(module, MAKEINTRESOURCEA(ordinal));
  if (!by_ordinal || by_ordinal != GetProcAddress(module, name)) throw std::runtime_error(name);
  return reinterpret_cast<void*>(by_ordinal);
}

}  // namespace zv::testing
