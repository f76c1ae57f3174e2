// Which redirects of a server are followed.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/text.h"

namespace zv {

struct HttpServerAddress {
  bool secure = false;
  Text host;
  uint16_t port = 0;
};

inline constexpr int kMostRedirects = 10;

// The object to ask for next: when the verb is GET or HEAD, the status is a redirect and its
// Location (RFC 9110, 10.2.2; absolute, or relative to the object) stays with the server.
// Credentials travel with every request, so no other server is ever followed to.
std::optional<Text> RedirectedObject(const HttpServerAddress& server, TextView verb,
                                     TextView object, uint32_t status, TextView location);

}  // namespace zv
