#include "platform/base64.h"

#include <algorithm>
#include <cstdint>

namespace zv {

std::string EncodeBase64(std::string_view bytes) {
  constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr size_t kGroupBytes = 3;
  constexpr size_t kGroupDigits = 4;
  std::string text;
  text.reserve((bytes.size() + kGroupBytes - 1) / kGroupBytes * kGroupDigits);
  for (size_t at = 0; at < bytes.size(); at += kGroupBytes) {
    const size_t count = std::min(kGroupBytes, bytes.size() - at);
    uint32_t group = 0;
    for (size_t i = 0; i < kGroupBytes; ++i) {
      group = group << 8 | (i < count ? static_cast<uint8_t>(bytes[at + i]) : 0U);
    }
    for (size_t digit = 0; digit < kGroupDigits; ++digit) {
      text += digit <= count ? kAlphabet[group >> (18 - 6 * digit) & 0x3F] : '=';
    }
  }
  return text;
}

}  // namespace zv
