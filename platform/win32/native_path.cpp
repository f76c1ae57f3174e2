#include "platform/win32/native_path.h"

#include <windows.h>

#include "platform/error.h"
#include "platform/shared/path.h"
#include "platform/shared/stored_name.h"
#include "platform/win32/long_name.h"
#include "platform/win32/wide.h"

namespace zv {
namespace {

void AppendElement(TextView element, size_t root_size, NativePath* out) {
  if (element == u".") return;
  out->long_name.clear();
  if (element == u"..") {
    if (out->path.size() > root_size) out->path.resize(out->path.rfind(L'\\'));
    return;
  }
  out->path += L'\\';
  if (element.size() <= kMaxNameUnits) {
    out->path.append(element.begin(), element.end());
  } else {
    out->path += ToWide(StoredNameOf(element));
    out->long_name = element;
  }
}

}  // namespace

std::wstring NativePath::folder() const { return path.substr(0, path.rfind(L'\\')); }

Text NativePath::leaf() const {
  const size_t slash = path.find_last_of(L"\\/");
  return FromWide(path.c_str() + (slash == std::wstring::npos ? 0 : slash + 1));
}

std::optional<NativePath> ToNativePath(TextView path) {
  if (path.find(u'\0') != TextView::npos) {
    SetLastError(ERROR_INVALID_NAME);
    return std::nullopt;
  }
  if (!HasDrive(path) || path.size() < 3 || !IsPathSeparator(path[2])) {
    return NativePath{.path = ToWide(path), .long_name = {}};
  }
  DrivePath parts = SplitDrive(path);
  NativePath out;
  out.path = L"\\\\?\\";
  out.path += static_cast<wchar_t>(parts.drive);
  out.path += L':';
  const size_t root_size = out.path.size();
  for (TextView element = TakePathElement(&parts.rest); !element.empty();
       element = TakePathElement(&parts.rest)) {
    AppendElement(element, root_size, &out);
  }
  if (out.path.size() == root_size) out.path += L'\\';
  return out;
}

}  // namespace zv
