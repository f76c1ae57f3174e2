// What is told, and what stays as it was, when memory or the disk runs out in the middle of the
// work.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "cache/listing_file.h"
#include "cache/sync_account.h"
#include "platform/clock_testing.h"
#include "platform/error.h"
#include "tests/cache/cache_fixture.h"

namespace {

// Of the calling thread: larger pieces of memory cannot be had.
thread_local size_t largest_piece = SIZE_MAX;

}  // namespace

void* operator new(size_t size) {
  void* piece = size > largest_piece ? nullptr : std::malloc(size ? size : 1);
  if (!piece) throw std::bad_alloc();
  return piece;
}
void operator delete(void* piece) noexcept { std::free(piece); }
void operator delete(void* piece, size_t) noexcept { std::free(piece); }

namespace zv::testing {
namespace {

// While it lives, this thread gets no piece of 32 KiB or more; log lines and names still fit.
class ScarceMemory {
 public:
  ScarceMemory() { largest_piece = 32 * 1024; }
  ~ScarceMemory() { largest_piece = SIZE_MAX; }
};

const UtilityLibrary kNoLibrary = {};

class OutOfMemory : public CacheTest {
 protected:
  OutOfMemory() {
    SetUtilityLibrary(&kNoLibrary);
    Text text;
    while (text.size() < 40'000) text += u"a name of some length?0?1?0?1?2\r\n";
    WriteListing(u"/big", text);
    cache();
  }
  ~OutOfMemory() override { SetUtilityLibrary(nullptr); }

  Text File() const { return Names().GetDirRecordName(u"/big"); }
  void MakeSync() { home_.SetSetting(kConnectionSubKey, u"Account_Type", u"ZVSYNC"); }
  bool Line(TextView line) const { return home_.LogHasLine(u"CacheDebug.txt", line); }

  const Text long_path_ = u"/" + Text(40'000, u'p');
};

TEST_F(OutOfMemory, ParsingAListing) {
  const ScarceMemory scarce;
  EXPECT_FALSE(cache().ParseFileListFromCache(File()));
  EXPECT_TRUE(Line(u"Exception while parsing file list from cache!"));
}

TEST_F(OutOfMemory, EditingAListingLeavesItAsItWas) {
  const std::string before = *ReadFileBytes(File());
  {
    const ScarceMemory scarce;
    EXPECT_FALSE(cache().ParseDirContentsFromFile(File(), u"/big/x", u""));
    EXPECT_FALSE(cache().UpdateCacheFileList(u"/big/x", {}));
    EXPECT_TRUE(Line(u"Exception while parsing from file to cache dir contents!"));
    EXPECT_TRUE(Line(u"Exception while updating cache file list!"));
  }
  EXPECT_EQ(ReadFileBytes(File()), before);
}

TEST_F(OutOfMemory, LookingUpARecord) {
  DirectoryEntry entry;
  const ScarceMemory scarce;
  EXPECT_FALSE(cache().ParseSingleResource(File(), u"/big/x", &entry));
  EXPECT_TRUE(Logged(u"Exception while parsing single from file (resource), "));
  EXPECT_FALSE(cache().GetCachedResourceDetails(long_path_, &entry));
  EXPECT_TRUE(Line(u"Exception while getting cached resource details!"));
}

TEST_F(OutOfMemory, ListingAFolder) {
  DirectoryEntry entry;
  const ScarceMemory scarce;
  EXPECT_FALSE(cache().GetCachedDirContents(long_path_, 1, &entry));
  EXPECT_TRUE(Line(u"Exception while Getting cached dir contents!"));
  EXPECT_FALSE(cache().CacheFolderContents(long_path_));
  EXPECT_TRUE(Line(u"Exception while Caching folder contents!"));
}

TEST_F(OutOfMemory, UpdatingAFoldersOwnEntry) {
  const ScarceMemory scarce;
  EXPECT_FALSE(cache().UpdateRootCacheFileList(long_path_, {}));
  EXPECT_TRUE(Line(u"Exception while updating Root cache file list!"));
}

TEST_F(OutOfMemory, AddingAnEntryCountsAsDone) {
  const Text path = long_path_ + u"/x";
  const ScarceMemory scarce;
  EXPECT_TRUE(cache().AddFileEntryToCacheFile(path));
  EXPECT_TRUE(Line(u"Exception in AddFileEntryToCacheFile!"));
}

TEST_F(OutOfMemory, Times) {
  FileTime time;
  const ScarceMemory scarce;
  EXPECT_FALSE(cache().SetFileTimeEntry(long_path_, {}));
  EXPECT_TRUE(Line(u"Exception in SetFileTimeEntry!"));
  EXPECT_FALSE(cache().GetFileTimeEntry(long_path_, &time));
  EXPECT_TRUE(Line(u"Exception in GetFileTimeEntry!"));
  EXPECT_EQ(cache().CheckFileModified(long_path_), 0U);
  EXPECT_TRUE(Line(u"Exception in CheckFileModified!"));
}

TEST_F(OutOfMemory, ReadingAndStoringContents) {
  TransferRequest request{.path = long_path_};
  const ScarceMemory scarce;
  EXPECT_FALSE(cache().ReadCachedFile(request));
  EXPECT_TRUE(Line(u"Exception while reading cached file!"));
  EXPECT_FALSE(cache().CacheRestoreFile(long_path_));
  EXPECT_TRUE(Line(u"Exception while caching restore file!"));
  EXPECT_FALSE(cache().CacheFile(request));
  EXPECT_TRUE(Line(u"Exception while Caching file!"));
}

TEST_F(OutOfMemory, WritingBack) {
  TransferRequest request{.path = long_path_};
  const ScarceMemory scarce;
  EXPECT_FALSE(cache().TransferCachedFile(long_path_, true));
  EXPECT_TRUE(Line(u"Exception while transferring cached file!"));
  EXPECT_FALSE(cache().BackupZeroFile(request, true));
}

TEST_F(OutOfMemory, ChangingNames) {
  MakeSync();
  const ScarceMemory scarce;
  EXPECT_FALSE(cache().CreateCacheDirectory(long_path_));
  EXPECT_TRUE(Line(u"Exception while creating directory"));
  EXPECT_EQ(cache().RenameCachedResource(long_path_, u"/b", false), kRenameFailed);
  EXPECT_TRUE(Line(u"Exception while renaming resource"));
  EXPECT_FALSE(cache().DeleteCachedResource(long_path_, false));
  EXPECT_TRUE(Line(u"Exception while deleting resource"));
}

TEST_F(OutOfMemory, ClearingTheCache) {
  for (int i = 0; i < 600; ++i) WriteContent(u"/f" + FromUtf8(std::to_string(i)), "");
  const ScarceMemory scarce;
  EXPECT_FALSE(cache().ClearCache(u""));
  EXPECT_TRUE(Line(u"Exception while clearing cache for  file!"));
  EXPECT_TRUE(cache().ClearCacheForPath(u"/f", ClearKind::kFolder));
  EXPECT_TRUE(Line(u"Exception while clearing cache for a path!"));
}

TEST_F(OutOfMemory, ApplyingPendingDeletesKeepsTheJournal) {
  const Text journal = u"C:\\Stratel Drive\\Delete_src.txt";
  WriteFileBytes(journal, std::string(80'000, 'x'));
  {
    const ScarceMemory scarce;
    EXPECT_EQ(cache().ApplyPendingDeletes(), 0U);
    EXPECT_TRUE(Line(u"Exception while applying pending deletes!"));
  }
  EXPECT_TRUE(FileExists(journal));
}

TEST_F(OutOfMemory, APendingListThatCannotBeKeptIsToldInTheLog) {
  WriteFileBytes(Names().work_folder().substr(0, Names().work_folder().size() - 1), "no folder");
  Store(u"/f", "1");
  EXPECT_TRUE(cache().TransferCachedFile(u"/f", true));
  EXPECT_TRUE(Logged(u"Unable to note the pending upload of /f, Reason: "));
  EXPECT_EQ(account_.Content("/f"), "1");
}

}  // namespace
}  // namespace zv::testing
