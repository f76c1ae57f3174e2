#include <windows.h>

#include "platform/text.h"
#include "platform/win32/wide.h"

namespace zv {

std::string ToAnsi(TextView text) {
  if (text.empty()) return {};
  // A process may have UTF-8 as its code page, for which neither of the two is allowed.
  if (::GetACP() == CP_UTF8) return ToUtf8(text);
  const std::wstring wide = ToWide(text);
  const int units = static_cast<int>(wide.size());
  const auto convert = [&](char* out, int size) {
    return ::WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide.data(), units, out, size, "?",
                                 nullptr);
  };
  std::string out(static_cast<size_t>(convert(nullptr, 0)), '\0');
  convert(out.data(), static_cast<int>(out.size()));
  return out;
}

Text FromAnsi(std::string_view bytes) {
  if (bytes.empty()) return {};
  const int size = static_cast<int>(bytes.size());
  std::wstring wide(
      static_cast<size_t>(::MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, nullptr, 0)), L'\0');
  ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, wide.data(), static_cast<int>(wide.size()));
  return FromWide(wide.data(), wide.size());
}

}  // namespace zv
