#include "cache/pending_uploads.h"

#include <gtest/gtest.h>

#include "platform/clock_testing.h"
#include "platform/error.h"
#include "platform/file.h"
#include "tests/support/test_home.h"

namespace zv {
namespace {

using testing::ReadFileBytes;
using testing::WriteFileBytes;

class PendingUploadsTest : public testing::HomeTest {
 protected:
  PendingUploadsTest() { MakeFolders(u"C:\\Apps\\Host\\Cache@u"); }
  std::vector<Text> Paths() const {
    std::vector<Text> paths;
    for (const PendingUpload& upload : pending_.List()) paths.push_back(upload.path);
    return paths;
  }

  const CacheNames names_{u"C:\\Apps\\Host\\Cache@u\\"};
  const Text file_ = u"C:\\Apps\\Host\\Work-Cache@u\\pending.txt";
  PendingUploads pending_{names_};
};

TEST_F(PendingUploadsTest, IsEmptyAndWithoutAFileAtFirst) {
  EXPECT_TRUE(pending_.List().empty());
  EXPECT_FALSE(pending_.Contains(u"/a"));
  EXPECT_TRUE(pending_.Remove(u"/a"));
  EXPECT_FALSE(FileExists(file_));
}

TEST_F(PendingUploadsTest, KeepsKindReasonAndTheTimeOfTheFirstAttempt) {
  testing::VirtualClock clock(ToFileTime(Seconds1601{13'000'000'000}));
  EXPECT_TRUE(pending_.Add(u"/a b.txt", PendingKind::kContent, u""));
  clock.Advance(60'000);
  EXPECT_TRUE(pending_.Add(u"/a b.txt", PendingKind::kEmpty, u"No line"));
  const auto list = PendingUploads(names_).List();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].path, u"/a b.txt");
  EXPECT_EQ(list[0].kind, PendingKind::kEmpty);
  EXPECT_EQ(list[0].reason, u"No line");
  EXPECT_EQ(list[0].since.value, 13'000'000'000);
}

TEST_F(PendingUploadsTest, GoldenBytes) {
  testing::VirtualClock clock(ToFileTime(Seconds1601{13'000'000'000}));
  pending_.Add(u"/a%\tb", PendingKind::kContent, u"1\r\n2");
  pending_.Add(u"/c", PendingKind::kCacheOnly, u"");
  EXPECT_EQ(ReadFileBytes(file_),
            ToUtf16LeBytes(u"0\t13000000000\t/a%25%09b\t1%0D%0A2\r\n2\t13000000000\t/c\t\r\n"));
  EXPECT_EQ(Paths(), (std::vector<Text>{u"/a%\tb", u"/c"}));
  EXPECT_EQ(pending_.List()[0].reason, u"1\r\n2");
}

TEST_F(PendingUploadsTest, OnlyWhatIsBeingWrittenIsUnfinished) {
  testing::VirtualClock clock(ToFileTime(Seconds1601{13'000'000'000}));
  pending_.Add(u"/written", PendingKind::kBeingWritten, u"");
  pending_.Add(u"/content", PendingKind::kContent, u"");
  EXPECT_TRUE(
      ReadFileBytes(file_).value().starts_with(ToUtf16LeBytes(u"3\t13000000000\t/written\t\r\n")));
  EXPECT_EQ(pending_.List()[0].kind, PendingKind::kBeingWritten);
  pending_.Add(u"/empty", PendingKind::kEmpty, u"");
  pending_.Add(u"/kept", PendingKind::kCacheOnly, u"");
  EXPECT_TRUE(pending_.RemoveUnfinished());
  EXPECT_EQ(Paths(), (std::vector<Text>{u"/content", u"/empty", u"/kept"}));
}

TEST_F(PendingUploadsTest, TheFileIsEmptyAfterItsLastLine) {
  pending_.Add(u"/a", PendingKind::kContent, u"");
  EXPECT_NE(ReadFileBytes(file_), "");
  EXPECT_TRUE(pending_.Remove(u"/a"));
  EXPECT_EQ(ReadFileBytes(file_), "");
  EXPECT_TRUE(pending_.List().empty());
}

TEST_F(PendingUploadsTest, ALineThatWasCutOffDoesNotSwallowTheNextOne) {
  WriteFileBytes(file_, ToUtf16LeBytes(u"0\t13000000000\t/whole\t\r\n0\t130000"));
  EXPECT_TRUE(pending_.Add(u"/a", PendingKind::kContent, u""));
  EXPECT_EQ(Paths(), (std::vector<Text>{u"/whole", u"/a"}));
}

TEST_F(PendingUploadsTest, APathThatWasCutOffIsNone) {
  WriteFileBytes(file_, ToUtf16LeBytes(u"0\t13000000000\t/whole\t\r\n0\t13000000000\t/a b"));
  EXPECT_EQ(Paths(), (std::vector<Text>{u"/whole"}));
  WriteFileBytes(file_, ToUtf16LeBytes(u"0\t13000000000\t/a\tNo li"));
  EXPECT_EQ(Paths(), (std::vector<Text>{u"/a"}));
}

TEST_F(PendingUploadsTest, RemovesATreeButNoSiblings) {
  for (const TextView path : {u"/a/b", u"/a/b/c", u"/a/bc"}) {
    pending_.Add(path, PendingKind::kContent, u"");
  }
  EXPECT_TRUE(pending_.RemoveTree(u"/a/b"));
  EXPECT_EQ(Paths(), (std::vector<Text>{u"/a/bc"}));
}

TEST_F(PendingUploadsTest, RenamesATreeOverWhatHadTheNewName) {
  for (const TextView path : {u"/a/x", u"/n/x", u"/a", u"/ab"}) {
    pending_.Add(path, PendingKind::kContent, path);
  }
  EXPECT_TRUE(pending_.Rename(u"/a", u"/n"));
  EXPECT_EQ(Paths(), (std::vector<Text>{u"/n/x", u"/n", u"/ab"}));
  EXPECT_EQ(pending_.List()[0].reason, u"/a/x");
}

TEST_F(PendingUploadsTest, TellsOfAnythingBeneathAFolder) {
  EXPECT_TRUE(pending_.Add(u"/a/b/c.txt", PendingKind::kContent, u""));
  EXPECT_TRUE(pending_.ContainsTree(u"/a/b/c.txt"));
  EXPECT_TRUE(pending_.ContainsTree(u"/a"));
  EXPECT_FALSE(pending_.ContainsTree(u"/a/b/c"));
}

TEST_F(PendingUploadsTest, ReadsRandomBytesAsNoPaths) {
  WriteFileBytes(file_, std::string("\x01\x02\r\0\n\0garbage\xFF", 14));
  EXPECT_TRUE(pending_.List().empty());
  EXPECT_TRUE(pending_.Add(u"/a", PendingKind::kContent, u""));
  EXPECT_EQ(Paths(), (std::vector<Text>{u"/a"}));
}

TEST_F(PendingUploadsTest, AListThatCannotBeReadIsNeverTakenForAnEmptyOne) {
  MakeFolders(file_);  // no file: it cannot be opened as one
  EXPECT_TRUE(pending_.Contains(u"/a"));
  EXPECT_THROW(pending_.List(), Error);
  EXPECT_THROW(pending_.Find(u"/a"), Error);
  EXPECT_THROW(pending_.ContainsTree(u"/a"), Error);
  EXPECT_FALSE(pending_.Add(u"/a", PendingKind::kContent, u""));
  EXPECT_FALSE(pending_.Remove(u"/a"));
  EXPECT_FALSE(pending_.AddRenamed(u"/a", u"/b"));
  EXPECT_NE(LastError(), 0U);
}

TEST_F(PendingUploadsTest, RemovesATreeWithoutTheOneThatIsExcepted) {
  for (const TextView path : {u"/a", u"/a/b", u"/a/b/c", u"/a/bc"}) {
    pending_.Add(path, PendingKind::kContent, u"");
  }
  EXPECT_TRUE(pending_.RemoveTree(u"/a", u"/a/b"));
  EXPECT_EQ(Paths(), (std::vector<Text>{u"/a/b", u"/a/b/c"}));
}

TEST_F(PendingUploadsTest, BeforeARenameListsWhatWillBeMovedUnderBothNames) {
  pending_.Add(u"/a/x", PendingKind::kContent, u"No line");
  pending_.Add(u"/a/empty", PendingKind::kEmpty, u"");
  pending_.Add(u"/n/x", PendingKind::kEmpty, u"");
  EXPECT_TRUE(pending_.AddRenamed(u"/a", u"/n"));
  EXPECT_EQ(Paths(), (std::vector<Text>{u"/a/x", u"/a/empty", u"/n/x"}));
  EXPECT_EQ(pending_.List()[2].kind, PendingKind::kContent);
  EXPECT_EQ(pending_.List()[2].reason, u"No line");
}

TEST_F(PendingUploadsTest, WhatARenameCouldNotMoveKeepsItsOldNameAlone) {
  pending_.Add(u"/a", PendingKind::kContent, u"");
  for (const TextView path : {u"/a", u"/n"}) WriteFileBytes(names_.GetFileRecordName(path), "x");
  EXPECT_TRUE(pending_.AddRenamed(u"/a", u"/n"));
  EXPECT_EQ(Paths(), std::vector<Text>{u"/a"});
  EXPECT_TRUE(pending_.Rename(u"/a", u"/n"));
  EXPECT_EQ(Paths(), std::vector<Text>{u"/a"});
}

TEST_F(PendingUploadsTest, ARenameToAnotherSpellingTakesTheOneContentAlong) {
  pending_.Add(u"/a", PendingKind::kContent, u"");
  WriteFileBytes(names_.GetFileRecordName(u"/a"), "x");
  EXPECT_TRUE(pending_.AddRenamed(u"/a", u"/A"));
  EXPECT_TRUE(pending_.Rename(u"/a", u"/A"));
  EXPECT_EQ(Paths(), std::vector<Text>{u"/A"});
}

TEST_F(PendingUploadsTest, WhatIsKeptForItsNameWaitsToBeSentUnderANameThatIsSent) {
  for (const TextView path : {u"/a.tmp", u"/empty.tmp", u"/still.tmp"}) {
    pending_.Add(path, PendingKind::kCacheOnly, u"");
  }
  WriteFileBytes(names_.GetFileRecordName(u"/a.tmp"), "x");
  EXPECT_TRUE(pending_.AddRenamed(u"/a.tmp", u"/a.txt"));
  EXPECT_EQ(pending_.Find(u"/a.tmp")->kind, PendingKind::kCacheOnly);
  EXPECT_EQ(pending_.Find(u"/a.txt")->kind, PendingKind::kContent);
  EXPECT_TRUE(MoveOver(names_.GetFileRecordName(u"/a.tmp"), names_.GetFileRecordName(u"/a.txt")));
  EXPECT_TRUE(pending_.Rename(u"/a.tmp", u"/a.txt"));
  EXPECT_EQ(pending_.Find(u"/a.txt")->kind, PendingKind::kContent);
  EXPECT_TRUE(pending_.Rename(u"/empty.tmp", u"/empty.txt"));
  EXPECT_EQ(pending_.Find(u"/empty.txt")->kind, PendingKind::kEmpty);
  EXPECT_TRUE(pending_.Rename(u"/still.tmp", u"/still"));
  EXPECT_EQ(pending_.Find(u"/still")->kind, PendingKind::kCacheOnly);
}

TEST_F(PendingUploadsTest, AChangeThatCannotBeWrittenIsToldAndChangesNothing) {
  WriteFileBytes(u"C:\\Apps\\Host\\Work-Cache@u", "a file where the folder should be");
  EXPECT_FALSE(pending_.Add(u"/a", PendingKind::kContent, u""));
  EXPECT_TRUE(pending_.List().empty());
}

}  // namespace
}  // namespace zv
