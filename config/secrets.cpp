#include "config/secrets.h"

namespace zv {
namespace {

constexpr uint16_t kShift = 20;
constexpr size_t kProxyPrefixUnits = 6;

Text ShiftBy(TextView text, uint16_t distance) {
  Text result(text);
  for (char16_t& unit : result) unit = static_cast<char16_t>(unit + distance);
  return result;
}

}  // namespace

Text ShiftSecret(TextView text) { return ShiftBy(text, kShift); }
Text UnshiftSecret(TextView text) { return ShiftBy(text, static_cast<uint16_t>(-kShift)); }

Text PasswordFromStored(TextView stored) {
  const Text clear = UnshiftSecret(stored);
  const size_t end = clear.find(u':');
  return end == Text::npos ? Text() : clear.substr(0, end);
}

Text ProxyPasswordFromStored(TextView stored) {
  const Text clear = UnshiftSecret(stored);
  return clear.size() <= kProxyPrefixUnits ? Text() : clear.substr(kProxyPrefixUnits);
}

Text SyncSecretFromStored(TextView stored) {
  const Text clear = UnshiftSecret(stored);
  return clear.substr(0, clear.find(u':'));
}

}  // namespace zv
