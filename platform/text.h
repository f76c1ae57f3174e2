// UTF-16 text and its conversions. Every function may be called from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zv {

using Text = std::u16string;
using TextView = std::u16string_view;

// UTF-16 to UTF-8 (RFC 3629). An unpaired surrogate becomes U+FFFD.
std::string ToUtf8(TextView text);
// UTF-8 to UTF-16. Each byte that begins no well-formed sequence becomes U+FFFD.
Text FromUtf8(std::string_view bytes);

// The process's 8-bit code page (on Linux: windows-1252). What the page cannot hold becomes "?".
std::string ToAnsi(TextView text);
Text FromAnsi(std::string_view bytes);

// Case-blind as the system's file names are: each unit by itself, without the user's language.
char16_t ToLower(char16_t unit);
Text ToLower(TextView text);
int CompareNoCase(TextView a, TextView b);
bool EqualsNoCase(TextView a, TextView b);

Text ReplaceAll(TextView text, char16_t from, char16_t to);
// Without white space (blank, \t, \n, \v, \f, \r) at both ends.
Text Trim(TextView text);

// Plain decimal conversion: leading white space and one sign allowed, stops at the first non-digit,
// no digits give 0, a value outside the range gives the nearest limit.
int32_t ParseInt32(TextView text);
int64_t ParseInt64(TextView text);

// Bytes of the UTF-16LE form of a text, for files and records.
std::string ToUtf16LeBytes(TextView text);
// An odd last byte is ignored.
Text FromUtf16LeBytes(std::string_view bytes);

}  // namespace zv
