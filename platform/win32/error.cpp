#include "platform/error.h"

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <memory>

#include "platform/win32/wide.h"

namespace zv {
namespace {

constexpr DWORD kTableFlags =
    FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;

}  // namespace

const uint32_t kErrorFileNotFound = ERROR_FILE_NOT_FOUND;
const uint32_t kErrorPathNotFound = ERROR_PATH_NOT_FOUND;
const uint32_t kErrorAlreadyExists = ERROR_ALREADY_EXISTS;
const uint32_t kErrorDiskFull = ERROR_DISK_FULL;

bool IsSystemFailure(uint32_t code) {
  constexpr uint32_t kCodes[] = {ERROR_TOO_MANY_OPEN_FILES,
                                 ERROR_NOT_ENOUGH_MEMORY,
                                 ERROR_OUTOFMEMORY,
                                 ERROR_NO_SYSTEM_RESOURCES,
                                 ERROR_COMMITMENT_LIMIT,
                                 ERROR_NOT_ENOUGH_QUOTA,
                                 ERROR_CRC,
                                 ERROR_IO_DEVICE};
  return std::ranges::find(kCodes, code) != std::end(kCodes);
}

uint32_t LastError() { return ::GetLastError(); }
void SetLastError(uint32_t code) { ::SetLastError(code); }

Text SystemErrorText(uint32_t code) {
  DWORD flags = kTableFlags;
  HMODULE client = nullptr;
  if (IsInternetCode(code)) {
    // The internet client brings the texts of its codes in its own table.
    client = ::GetModuleHandleW(L"wininet.dll");
    if (client) flags |= FORMAT_MESSAGE_FROM_HMODULE;
  }
  wchar_t* buffer = nullptr;
  const DWORD size =
      ::FormatMessageW(flags, client, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                       reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  const std::unique_ptr<wchar_t, HLOCAL(WINAPI*)(HLOCAL)> owner(buffer, ::LocalFree);
  Text text = FromWide(buffer, size);
  if (text.ends_with(u'\n')) text.resize(text.size() - std::min<size_t>(text.size(), 2));
  return text;
}

}  // namespace zv
