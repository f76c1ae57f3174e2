// UTF-16 text as the system's wide characters, which are the same units.
#pragma once

#include <string>

#include "platform/text.h"

namespace zv {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

// Zero-terminated, for calls that take a name.
inline std::wstring ToWide(TextView text) { return std::wstring(text.begin(), text.end()); }

inline Text FromWide(const wchar_t* text, size_t length) { return Text(text, text + length); }
inline Text FromWide(const wchar_t* text) {
  return FromWide(text, std::char_traits<wchar_t>::length(text));
}

}  // namespace zv
