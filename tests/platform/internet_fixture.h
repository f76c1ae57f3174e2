// A server of its own and short ways to a request for the tests of platform/internet.h.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "platform/error.h"
#include "platform/internet.h"
#include "tests/support/http_server.h"

namespace zv::testing {

// One request with the objects that it needs.
struct Client {
  Client(const HttpServer& server, TextView verb, TextView object, TextView version = u"",
         uint32_t flags = kFlagNoCacheWrite)
      : session(u"Test Agent", AccessType::kDirect, u""),
        connection(session, server.host(), server.port(), u"", u""),
        request(connection, verb, object, version, flags) {}

  InternetSession session;
  HttpConnection connection;
  HttpRequest request;
};

inline std::string ReadAll(HttpRequest& request, size_t piece = 51200) {
  std::string body;
  std::string buffer(piece, '\0');
  while (const size_t got = request.Read(buffer.data(), buffer.size())) {
    body.append(buffer, 0, got);
  }
  return body;
}

inline void WriteAll(HttpRequest& request, std::string_view body, size_t piece = 51200) {
  for (; !body.empty(); body.remove_prefix(std::min(piece, body.size()))) {
    request.Write(body.data(), std::min(piece, body.size()));
  }
}

inline void SetTimeouts(HttpRequest& request, uint32_t milliseconds) {
  request.SetOption(kOptionConnectTimeout, milliseconds);
  request.SetOption(kOptionSendTimeout, milliseconds);
  request.SetOption(kOptionReceiveTimeout, milliseconds);
}

// The code of the Error(kInternet) that the work throws; 0 when it throws none.
inline uint32_t ErrorOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kInternet);
    EXPECT_FALSE(error.text().empty());
    return error.code();
  }
  return 0;
}

class InternetTest : public ::testing::Test {
 protected:
  HttpServer server_;
};

}  // namespace zv::testing
