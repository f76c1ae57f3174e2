#include "platform/win32/native_path.h"

#include "platform/error.h"
#include "platform/shared/path.h"
#include "platform/win32/wide.h"

#include <windows.h>

namespace zv {

std::optional<std::wstring> ToNativePath(TextView path) {
  if (path.find(u'\0') != TextView::npos) {
    SetLastError(ERROR_INVALID_NAME);
    return std::nullopt;
  }
  if (!HasDrive(path) || path.size() < 3 || !IsPathSeparator(path[2])) return ToWide(path);
  DrivePath parts = SplitDrive(path);
  std::wstring out = L"\\\\?\\";
  out += static_cast<wchar_t>(parts.drive);
  out += L':';
  const size_t root_size = out.size();
  for (TextView element = TakePathElement(&parts.rest); !element.empty();
       element = TakePathElement(&parts.rest)) {
    if (element == u".") continue;
    if (element == u"..") {
      if (out.size() > root_size) out.resize(out.rfind(L'\\'));
      continue;
    }
    out += L'\\';
    out.append(element.begin(), element.end());
  }
  if (out.size() == root_size) out += L'\\';
  return out;
}

}  // namespace zv
