#include "webdav/href.h"

#include <string>

namespace zv {
namespace {

// -1 for what is no hexadecimal digit.
int HexValue(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
  if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
  return -1;
}

// The byte that "%XX" at the text's beginning stands for; -1 when none is there.
int EscapedByte(TextView text) {
  if (text.size() < 3 || text[0] != u'%') return -1;
  const int high = HexValue(text[1]);
  const int low = HexValue(text[2]);
  return high < 0 || low < 0 ? -1 : high * 16 + low;
}

// A run of characters beyond ASCII: bytes of the 8-bit page, or UTF-8 where that page cannot hold
// them, since then they came from a character reference.
std::string WideBytes(TextView run) {
  std::string narrow = ToAnsi(run);
  return FromAnsi(narrow) == run ? narrow : ToUtf8(run);
}

}  // namespace

Text DecodeHref(TextView text) {
  std::string bytes;
  bytes.reserve(text.size());
  while (!text.empty()) {
    const int escaped = EscapedByte(text);
    if (escaped >= 0) {
      bytes += static_cast<char>(escaped);
      text.remove_prefix(3);
    } else if (text.front() < 0x80) {
      bytes += static_cast<char>(text.front());
      text.remove_prefix(1);
    } else {
      size_t count = 1;
      while (count < text.size() && text[count] >= 0x80) ++count;
      bytes += WideBytes(text.substr(0, count));
      text.remove_prefix(count);
    }
  }
  return FromUtf8(std::string_view(bytes).substr(0, bytes.find('\0')));
}

}  // namespace zv
