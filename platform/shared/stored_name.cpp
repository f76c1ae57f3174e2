#include "platform/shared/stored_name.h"

namespace zv {
namespace {

// FNV-1a with 128 bits over the little-endian bytes, in hexadecimal digits.
Text HashOf(TextView text) {
  using Wide = unsigned __int128;
  Wide hash = (Wide{0x6C62272E07BB0142} << 64) | 0x62B821756295C58D;
  const Wide prime = (Wide{1} << 88) | 0x13B;
  for (const char16_t unit : text) {
    hash = (hash ^ (unit & 0xFF)) * prime;
    hash = (hash ^ static_cast<unsigned>(unit >> 8)) * prime;
  }
  Text digits(kStoredHashDigits, u'0');
  for (size_t i = kStoredHashDigits; i-- > 0; hash >>= 4) {
    digits[i] = u"0123456789abcdef"[static_cast<size_t>(hash & 0xF)];
  }
  return digits;
}

}  // namespace

Text StoredNameOf(TextView long_name) {
  const Text small = ToLower(long_name);
  size_t size = kStoredPrefixUnits;
  if ((small[size - 1] & 0xFC00) == 0xD800) --size;
  return small.substr(0, size) + u"~" + HashOf(small);
}

}  // namespace zv
