// Replies to a listing in the server's dialect, and a client whose inside the tests may see.
#pragma once

#include <string>
#include <string_view>

#include "tests/support/http_server.h"
#include "tests/support/test_home.h"
#include "webdav/webdav.h"

namespace zv::testing {

inline constexpr std::string_view kCreationDate = "2026-11-15T14:03:09Z";
inline constexpr std::string_view kLastModified = "Sun, 15 Nov 2026 14:03:09 GMT";
inline constexpr int64_t kThatSecond = 13439224989;  // since 1601

// One file or folder; extra: more properties.
inline std::string Response(std::string_view href, std::string_view extra = {}) {
  std::string text = "<D:response xmlns:lp0=\"DAV:\"><D:href>";
  text.append(href).append("</D:href><D:propstat><D:prop>").append(extra);
  text.append("<lp0:creationdate>").append(kCreationDate).append("</lp0:creationdate>");
  text.append("<lp0:getlastmodified>").append(kLastModified).append("</lp0:getlastmodified>");
  return text + "</D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>\n";
}

inline std::string Length(std::string_view bytes) {
  return "<lp0:getcontentlength>" + std::string(bytes) + "</lp0:getcontentlength>";
}

inline std::string Quota(std::string_view quota, std::string_view used) {
  return "<D:quota>" + std::string(quota) + "</D:quota><D:used>" + std::string(used) + "</D:used>";
}

inline std::string Multistatus(std::string_view responses) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:multistatus xmlns:D=\"DAV:\">\n" +
         std::string(responses) + "</D:multistatus>\n";
}

class OpenClient : public CWebDAV {
 public:
  using CWebDAV::connection_;
  using CWebDAV::request_;
  using CWebDAV::request_body_;
  using CWebDAV::request_flags_;
  using CWebDAV::request_headers_;
  using CWebDAV::settings_;
  using CWebDAV::status_text_;
};

// The account anna, password secret, on a server of its own.
class ClientTest : public HomeTest {
 protected:
  ClientTest() { home_.SetAccount(server_.host(), u"anna", u"secret"); }

  HttpServer server_;
};

// base64 of anna:secret
inline constexpr std::string_view kAuthorization = "Basic YW5uYTpzZWNyZXQ=";

}  // namespace zv::testing
