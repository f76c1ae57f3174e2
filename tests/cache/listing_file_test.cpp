#include "cache/listing_file.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "cache/entry_record.h"
#include "cache/work_file.h"
#include "platform/clock_testing.h"
#include "platform/error.h"
#include "tests/support/test_home.h"

#ifndef _WIN32
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace zv {
namespace {

using testing::ReadFileBytes;
using testing::WriteFileBytes;

class ListingFile : public testing::HomeTest {
 protected:
  ListingFile() { MakeFolders(u"C:\\Apps\\Host\\Cache@u"); }
  bool Extend(TextView text, TextView records) const {
    File file = File::Open(file_, Access::kReadWrite, Disposition::kOpenAlways);
    return ExtendListing(names_, file_, std::move(file), text, records);
  }
  const CacheNames names_{u"C:\\Apps\\Host\\Cache@u\\"};
  const Text file_ = names_.GetDirRecordName(u"/d");
};

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

// As another process reads it. Where the system keeps a file that others have open from being
// replaced, only the lock of one process keeps readers from parts of it.
std::optional<std::string> ReadAsAStrangerWhereItCanBeReplaced(TextView listing_file) {
#ifdef _WIN32
  const auto text = ReadListing(listing_file, Disposition::kOpenExisting);
  return text ? std::optional(ToUtf16LeBytes(*text)) : std::nullopt;
#else
  return ReadFileBytes(listing_file);
#endif
}

TEST_F(ListingFile, NoReaderEverSeesAPartOfIt) {
  const Text small(1000, u's');
  const Text large(50'000, u'l');
  const std::string whole[] = {ToUtf16LeBytes(small), ToUtf16LeBytes(large)};
  ASSERT_TRUE(ReplaceListing(names_, file_, small));
  std::atomic<bool> writes = true;
  std::jthread writer([&] {
    for (int i = 0; i < 100; ++i) ReplaceListing(names_, file_, i % 2 ? small : large);
    writes = false;
  });
  while (writes) {
    const auto bytes = ReadAsAStrangerWhereItCanBeReplaced(file_);
    ASSERT_TRUE(bytes);
    ASSERT_TRUE(*bytes == whole[0] || *bytes == whole[1]) << bytes->size();
  }
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

#ifndef _WIN32
TEST_F(ListingFile, AProcessThatIsKilledWhileItWritesLeavesAWholeListing) {
  const Text small(1'000, u's');
  const Text large(200'000, u'l');
  ASSERT_TRUE(ReplaceListing(names_, file_, small));
  for (int round = 0; round < 25; ++round) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (int i = 0;; ++i) ReplaceListing(names_, file_, i % 2 ? small : large);
    }
    // Some moment in the midst of the writing; which one does not matter.
    ::usleep(static_cast<useconds_t>(500 + 377 * round));
    ::kill(child, SIGKILL);
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    const auto text = ReadListing(file_, Disposition::kOpenExisting);
    ASSERT_TRUE(text);
    ASSERT_TRUE(*text == small || *text == large) << text->size();
  }
}
#endif

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
  testing::VirtualClock clock;
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
  testing::VirtualClock clock;
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
}  // namespace zv
