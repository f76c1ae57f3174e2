#include "webdav/url.h"

#include <cstdint>

#include "platform/format.h"

namespace zv {
namespace {

constexpr bool IsKept(uint8_t byte) {
  return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= 'a' && byte <= 'z') || byte == '/';
}

}  // namespace

Text PercentEncodePath(TextView path) {
  const std::string utf8 = ToUtf8(ReplaceAll(path, u'\\', u'/'));
  Text result;
  result.reserve(utf8.size());
  for (const char c : utf8) {
    const auto byte = static_cast<uint8_t>(c);
    if (IsKept(byte)) {
      result += static_cast<char16_t>(byte);
    } else {
      result += Format(u"%%%02X", uint32_t{byte});
    }
  }
  return result;
}

Text AccountRoot(const Text& user) { return u"/users/" + user + u"/Files"; }

}  // namespace zv
