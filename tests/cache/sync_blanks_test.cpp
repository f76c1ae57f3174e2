// Blanks around a sync account's settings: which operations drop them.
#include "tests/cache/sync_fixture.h"

namespace zv::testing {
namespace {

class SyncBlanks : public SyncTest {
 protected:
  SyncBlanks() {
    for (const auto& [name, value] :
         std::initializer_list<std::pair<TextView, Text>>{{u"UserName", u" u"},
                                                          {u"ZVSync_usr", u" syncuser "},
                                                          {u"ZVSync_psd", Blanked(u"pass")},
                                                          {u"u_ZVSync_enc", Blanked(u"DEFAULT")},
                                                          {u" u_ZVSync_enc", RaiseBy20(u"own")},
                                                          {u"Appserver", u" app.example "},
                                                          {u"WebServer", u" web.example "}}) {
      home_.SetSetting(kConnectionSubKey, name, value);
    }
  }

  static Text Blanked(TextView secret) { return u" " + RaiseBy20(secret) + u" "; }
  const List& Arguments() const { return recorder_.calls.at(0).arguments; }

  const List trimmed_ = {u"/",           u"syncuser",    u"pass",   u"DEFAULT",
                         u"app.example", u"web.example", u"DEFAULT"};
  const Text staged_ = u"C:\\Stratel Drive\\cache@u\\a.txt";
};

TEST_F(SyncBlanks, AreDroppedFromAllWhenAFileIsHandedOver) {
  Store(u"/Docs/a.txt", "contents");
  EXPECT_TRUE(cache().TransferCachedFile(u"/Docs/a.txt", true));
  EXPECT_EQ(Arguments(), trimmed_);
  EXPECT_EQ(JournalSeen(u"Upload_src.txt"), u"F_" + staged_ + u"\r\n");
  EXPECT_EQ(ReadFileBytes(staged_), "contents");
}

TEST_F(SyncBlanks, AreDroppedFromAllWhenAnEmptyFileIsHandedOver) {
  TransferRequest request{.path = u"/Docs/a.txt"};
  EXPECT_TRUE(cache().BackupZeroFile(request, true));
  EXPECT_EQ(Arguments(), trimmed_);
  EXPECT_EQ(JournalSeen(u"Upload_src.txt"), u"F_" + staged_ + u"\r\n");
  EXPECT_EQ(ReadFileBytes(staged_), "");
}

TEST_F(SyncBlanks, AreDroppedFromAllWhenADeletionIsHandedOver) {
  EXPECT_TRUE(cache().DeleteCachedResource(u"/Docs/a.txt", true));
  EXPECT_EQ(Arguments(), trimmed_);
}

TEST_F(SyncBlanks, AreDroppedFromTheNameOfTheFolderThatADeletedFilesCopyLiesIn) {
  WriteFileBytes(staged_, "staged");
  EXPECT_TRUE(cache().DeleteCachedResource(u"/Docs/a.txt", false));
  EXPECT_FALSE(FileExists(staged_));
}

TEST_F(SyncBlanks, AreDroppedFromThatFoldersNameWhenPendingDeletesAreAppliedToo) {
  const Text staged = u"C:\\Stratel Drive\\cache@ua.txt";
  WriteFileBytes(staged, "staged");
  WriteFileBytes(Journal(u"Delete_src.txt"), ToUtf16LeBytes(u"F_/Docs/a.txt\r\n"));
  EXPECT_EQ(cache().ApplyPendingDeletes(), 1U);
  EXPECT_FALSE(FileExists(staged));
}

TEST_F(SyncBlanks, AreDroppedFromTheServersAloneWhenAFileIsAskedFor) {
  home_.SetSetting(kConnectionSubKey, u"ZVSync_psd", RaiseBy20(u"pass"));
  EXPECT_TRUE(cache().CacheRestoreFile(u"/Docs/a.txt"));
  EXPECT_EQ(Arguments(), (List{u"/", u" syncuser ", u"pass", u"own", u"app.example", u"web.example",
                               u"PRIVATE"}));
}

}  // namespace
}  // namespace zv::testing
