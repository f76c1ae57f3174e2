#include "tests/cache/listing_file_fixture.h"

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "cache/entry_record.h"
#include "platform/clock_testing.h"
#include "platform/error.h"

namespace zv::testing {
namespace {

TEST_F(ListingFile, IsReplacedWholeAndLeavesNothingInTheWorkFolder) {
  WriteFileBytes(file_, "something longer than what comes");
  EXPECT_TRUE(ReplaceListing(names_, file_, u"a?1\r\n"));
  EXPECT_EQ(ReadFileBytes(file_), ToUtf16LeBytes(u"a?1\r\n"));
  EXPECT_TRUE(ListFolder(names_.work_folder()).empty());
}

TEST_F(ListingFile, CannotReplaceAFolder) {
  MakeFolders(file_);
  EXPECT_FALSE(ReplaceListing(names_, file_, u"a?1\r\n"));
  EXPECT_NE(LastError(), 0U);
  EXPECT_TRUE(ListFolder(names_.work_folder()).empty());
}

TEST_F(ListingFile, IsMadeEmptyByAReaderThatMayMakeIt) {
  EXPECT_EQ(ReadListing(file_, Disposition::kOpenExisting), std::nullopt);
  EXPECT_FALSE(FileExists(file_));
  EXPECT_EQ(ReadListing(file_, Disposition::kOpenAlways), u"");
  EXPECT_TRUE(FileExists(file_));
}

TEST_F(ListingFile, RecordsAreAppendedAtItsEnd) {
  EXPECT_TRUE(AppendToListing(file_, u"a?1\r\n", Disposition::kOpenAlways));
  EXPECT_TRUE(AppendToListing(file_, u"b?1\r\n", Disposition::kOpenAlways));
  EXPECT_EQ(ReadListing(file_, Disposition::kOpenExisting), u"a?1\r\nb?1\r\n");
}

TEST_F(ListingFile, RecordsAreAppendedAtTheLastWholeUnitAfterTheRootLines) {
  EXPECT_TRUE(WriteRootLines(file_));
  EXPECT_EQ(ReadFileBytes(file_)->size(), 67U);
  EXPECT_TRUE(AppendToListing(file_, u"b?1\r\n", Disposition::kOpenExisting));
  EXPECT_EQ(ReadFileBytes(file_), ToUtf16LeBytes(u".?1?0?0?12777135389?12777135389\r\nb?1\r\n"));
}

TEST_F(ListingFile, IsExtendedWithinAPageAndAcrossTwo) {
  const Text record = u"some name?0?15?0?13000000000?13000000000\r\n";
  Text text;
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(Extend(text, record));
    text += record;
    ASSERT_EQ(ReadListing(file_, Disposition::kOpenExisting), text);
  }
  EXPECT_TRUE(ListFolder(names_.work_folder()).empty());
}

TEST_F(ListingFile, IsReplacedWhenItIsNotWhatItIsThoughtToBe) {
  WriteFileBytes(file_, ToUtf16LeBytes(u"another?1\r\nand more?1\r\n"));
  EXPECT_TRUE(Extend(u"a?1\r\n", u"b?1\r\n"));
  EXPECT_EQ(ReadListing(file_, Disposition::kOpenExisting), u"a?1\r\nb?1\r\n");
}

TEST_F(ListingFile, AppendingToAMissingOneMayFail) {
  EXPECT_FALSE(AppendToListing(file_, u"b?1\r\n", Disposition::kOpenExisting));
  EXPECT_FALSE(FileExists(file_));
}

TEST_F(ListingFile, NoReaderEverSeesAPartOfIt) {
  ExpectWholeWhileItIsReplaced([this] { return ReadListing(file_, Disposition::kOpenExisting); });
}

TEST_F(ListingFile, AppendsOfSeveralThreadsAllStay) {
  std::vector<std::jthread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      for (int n = 0; n < 50; ++n) AppendToListing(file_, u"x?1\r\n", Disposition::kOpenAlways);
    });
  }
  writers.clear();
  EXPECT_EQ(ReadFileBytes(file_)->size(), 4U * 50 * 10);
}

class PartialFileTest : public ListingFile {
 protected:
  const Text content_ = names_.GetFileRecordName(u"/a.txt");
};

TEST_F(PartialFileTest, BecomesTheCacheFileInOneStep) {
  WriteFileBytes(content_, "old");
  PartialFile partial(names_, content_);
  WriteFileBytes(partial.path(), "new");
  EXPECT_EQ(ReadFileBytes(content_), "old");
  EXPECT_TRUE(partial.MoveIntoPlace());
  EXPECT_EQ(ReadFileBytes(content_), "new");
  EXPECT_TRUE(ListFolder(names_.work_folder()).empty());
}

TEST_F(PartialFileTest, LeavesNothingBehindWhenGivenUp) {
  {
    PartialFile partial(names_, content_);
    WriteFileBytes(partial.path(), "half");
  }
  EXPECT_FALSE(FileExists(content_));
  EXPECT_TRUE(ListFolder(names_.work_folder()).empty());
}

// What a process that was killed left: a copy that no object stands for any more.
Text LeaveBehind(const CacheNames& names, TextView cache_file) {
  Text path;
  {
    const PartialFile partial(names, cache_file);
    path = partial.path();
  }
  WriteFileBytes(path, "left");
  return path;
}

TEST_F(PartialFileTest, RemovesWhatACrashLeftOfTheSameFile) {
  const Text left = LeaveBehind(names_, content_);
  const PartialFile partial(names_, content_);
  EXPECT_FALSE(FileExists(left));
  EXPECT_NE(partial.path(), left);
}

TEST_F(PartialFileTest, KeepsTheCopyOfAnotherFileUntilItLayStillForLong) {
  const Text left = LeaveBehind(names_, names_.GetFileRecordName(u"/other"));
  { const PartialFile partial(names_, content_); }
  EXPECT_TRUE(FileExists(left));
  VirtualClock clock;
  clock.Advance(601'000);
  { const PartialFile partial(names_, content_); }
  EXPECT_FALSE(FileExists(left));
}

TEST_F(PartialFileTest, RemovesTheScratchFileOfAWriterThatWasKilledWhenItLayStillForLong) {
  const Text left = names_.work_folder() + u"writing-0000ABCD-1";
  const Text other = names_.work_folder() + u"pending.txt";
  for (const Text& file : {left, other}) WriteFileBytes(file, "left");
  { const PartialFile partial(names_, content_); }
  EXPECT_TRUE(FileExists(left));
  VirtualClock clock;
  clock.Advance(601'000);
  { const PartialFile partial(names_, content_); }
  EXPECT_FALSE(FileExists(left));
  EXPECT_TRUE(FileExists(other));
}

TEST_F(PartialFileTest, KeepsACopyThatIsBeingMade) {
  PartialFile first(names_, content_);
  WriteFileBytes(first.path(), "going");
  const PartialFile second(names_, content_);
  EXPECT_TRUE(FileExists(first.path()));
  EXPECT_NE(first.path(), second.path());
}

}  // namespace
}  // namespace zv::testing
