#include "platform/shared/utility_loader.h"

#include <windows.h>

#include "platform/error.h"
#include "platform/win32/wide.h"

namespace zv {
namespace {

constexpr wchar_t kFileName[] = L"ZVUtil.dll";

// Full name of the library beside the module that holds this code.
std::wstring NameBesideWorker() {
  HMODULE worker = nullptr;
  ::GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t*>(&LoadUtilityModule), &worker);
  std::wstring name(32768, L'\0');
  name.resize(::GetModuleFileNameW(worker, name.data(), static_cast<DWORD>(name.size())));
  name.resize(name.rfind(L'\\') + 1);
  return name + kFileName;
}

}  // namespace

UtilityModule LoadUtilityModule() {
  UtilityModule module;
  HMODULE library =
      ::LoadLibraryExW(NameBesideWorker().c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (!library) library = ::LoadLibraryW(kFileName);
  if (!library) module.failure = SystemErrorText(::GetLastError());
  module.handle = library;
  return module;
}

void (*FindUtilityEntry(const UtilityModule& module, const UtilityEntry& entry))() {
  const FARPROC found = ::GetProcAddress(static_cast<HMODULE>(module.handle),
                                         reinterpret_cast<const char*>(uintptr_t{entry.ordinal}));
  return reinterpret_cast<void (*)()>(found);
}

}  // namespace zv
