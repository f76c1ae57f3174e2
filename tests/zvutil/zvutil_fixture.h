// A sync account on a server in memory, and the journals that tell the library what to do.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "config/folders.h"
#include "tests/cache/fake_account.h"
#include "tests/support/test_home.h"

namespace zv::testing {

inline constexpr TextView kSyncFolder = u"C:\\Stratel Drive";
inline constexpr TextView kUser = u"anna";
inline constexpr TextView kPassword = u"secret";

class SyncAccountTest : public HomeTest {
 protected:
  // The settings name another server, user and password: a call brings its own.
  SyncAccountTest() {
    home_.SetAccount(u"127.42.255.254", u"nobody", u"other", {.account_type = u"ZVSYNC"});
  }

  static Text Journal(TextView name) { return Text(kSyncFolder) + u"\\" + Text(name); }
  static void WriteJournal(TextView name, TextView line) {
    WriteFileBytes(Journal(name), ToUtf16LeBytes(Text(line) + u"\r\n"));
  }
  std::string QuotaFile() const {
    return ReadFileBytes(Journal(u"ZVCOMMON\\quota.ini")).value_or("(none)");
  }

  FakeAccount account_{"anna"};
};

}  // namespace zv::testing
