// A client of the account "anna" on a scripted server.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/clock_testing.h"
#include "platform/file.h"
#include "tests/support/http_server.h"
#include "tests/support/test_home.h"
#include "webdav/webdav.h"

namespace zv::testing {

class AccountTest : public HomeTest {
 protected:
  explicit AccountTest(const AccountOptions& options = {}) { SetAccount(options); }

  // For clients made from now on.
  void SetAccount(const AccountOptions& options) {
    home_.SetAccount(server_.host(), u"anna", u"secret", options);
  }

  bool UserLogHas(TextView line) const { return home_.LogHasLine(u"UserLog.txt", line); }
  bool TraceHas(TextView line) const { return home_.LogHasLine(u"DavDebug.txt", line); }
  // How often the text stands in the log.
  size_t CountInUserLog(TextView text) const { return Count(home_.LogText(u"UserLog.txt"), text); }
  size_t CountInTrace(TextView text) const { return Count(home_.LogText(u"DavDebug.txt"), text); }
  // Whether a line of the user log with this message has this level's name in front.
  bool UserLogHasAt(TextView level, TextView message) const {
    const Text log = home_.LogText(u"UserLog.txt");
    for (size_t at = log.find(message); at != Text::npos; at = log.find(message, at + 1)) {
      const size_t begin = log.rfind(u'\n', at) + 1;
      if (log[at + message.size()] == u'\r' && TextView(log).substr(begin).starts_with(level)) {
        return true;
      }
    }
    return false;
  }

  HttpServer server_;

 private:
  static size_t Count(const Text& log, TextView text) {
    size_t count = 0;
    for (size_t at = log.find(text); at != Text::npos; at = log.find(text, at + 1)) ++count;
    return count;
  }
};

// A server that cannot be reached: nobody listens there.
inline constexpr TextView kNobody = u"127.42.255.254";

}  // namespace zv::testing
