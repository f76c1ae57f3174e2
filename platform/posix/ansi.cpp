// The 8-bit code page is windows-1252, the one that the product meets on western systems.
#include <algorithm>
#include <array>

#include "platform/text.h"

namespace zv {
namespace {

// Units of the bytes 0x80 to 0x9F; the five bytes that the page leaves open stand for themselves,
// as they do in the system's own conversion.
constexpr std::array<char16_t, 32> kHighControls = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char ByteOf(char16_t unit) {
  if (unit < 0x80 || (unit >= 0xA0 && unit <= 0xFF)) return static_cast<char>(unit);
  for (size_t i = 0; i < kHighControls.size(); ++i) {
    if (kHighControls[i] == unit) return static_cast<char>(0x80 + i);
  }
  return '?';
}

char16_t UnitOf(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x80 && byte <= 0x9F ? kHighControls[byte - 0x80] : byte;
}

}  // namespace

std::string ToAnsi(TextView text) {
  std::string out(text.size(), '\0');
  std::ranges::transform(text, out.begin(), ByteOf);
  return out;
}

Text FromAnsi(std::string_view bytes) {
  Text out(bytes.size(), u'\0');
  std::ranges::transform(bytes, out.begin(), UnitOf);
  return out;
}

}  // namespace zv
