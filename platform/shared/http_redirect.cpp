#include "platform/shared/http_redirect.h"

#include <algorithm>

namespace zv {
namespace {

bool IsRedirect(uint32_t status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool StartsWithNoCase(TextView text, TextView start) {
  return text.size() >= start.size() && EqualsNoCase(text.substr(0, start.size()), start);
}

// "host:port" or "host" is this server's.
bool IsServer(const HttpServerAddress& server, TextView authority) {
  const uint16_t usual_port = server.secure ? 443 : 80;
  const size_t colon = std::min(authority.rfind(u':'), authority.size());
  const Text port = colon < authority.size() ? Text(authority.substr(colon + 1))
                                             : FromUtf8(std::to_string(usual_port));
  return EqualsNoCase(authority.substr(0, colon), server.host) &&
         port == FromUtf8(std::to_string(server.port));
}

Text RootedPath(TextView path) { return path.starts_with(u'/') ? Text(path) : u"/" + Text(path); }

}  // namespace

std::optional<Text> RedirectedObject(const HttpServerAddress& server, TextView verb,
                                     TextView object, uint32_t status, TextView location) {
  if (!IsRedirect(status) || (verb != u"GET" && verb != u"HEAD")) return std::nullopt;
  location = location.substr(0, location.find(u'#'));
  if (location.empty()) return std::nullopt;
  const TextView scheme = server.secure ? u"https:" : u"http:";
  if (StartsWithNoCase(location, scheme)) {
    location.remove_prefix(scheme.size());
    if (!location.starts_with(u"//")) return std::nullopt;
  }
  if (location.starts_with(u"//")) {
    location.remove_prefix(2);
    const TextView authority = location.substr(0, location.find_first_of(u"/?"));
    if (!IsServer(server, authority)) return std::nullopt;
    return RootedPath(location.substr(authority.size()));
  }
  // A colon before the first slash ends another scheme's name.
  if (location.find(u':') < location.find_first_of(u"/?")) return std::nullopt;
  if (location.starts_with(u'/')) return Text(location);
  const TextView path = object.substr(0, object.find(u'?'));
  if (location.starts_with(u'?')) return RootedPath(Text(path) + Text(location));
  const size_t folder = path.rfind(u'/');
  return RootedPath(Text(path.substr(0, folder == TextView::npos ? 0 : folder + 1)) +
                    Text(location));
}

}  // namespace zv
