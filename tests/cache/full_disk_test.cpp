// A disk that has no room for what is to be kept.
#include <algorithm>

#include "cache/listing_file.h"
#include "cache/sync_account.h"
#include "platform/clock_testing.h"
#include "platform/error.h"
#include "tests/cache/cache_fixture.h"
#include "tests/support/full_disk.h"

namespace zv::testing {
namespace {

class OutOfDisk : public CacheTest {
 protected:
  OutOfDisk() {
    account_.AddFolder("/d", kEarly);
    for (int i = 0; i < 300; ++i) {
      account_.AddFile("/d/a file with a long name " + std::to_string(i), "", kEarly);
    }
    cache();
  }
  bool TooLarge() const { return home_.LogHasLine(u"CacheDebug.txt", FromUtf8("File too large")); }
};

TEST_F(OutOfDisk, ARefreshKeepsTheOldListing) {
  WriteListing(u"/d", u"old?0?1?0?1?2\r\n");
  WriteTime(u"/d/", kEarly);
  {
    const FullDisk full;
    EXPECT_FALSE(cache().CacheFolderContents(u"/d/"));
  }
  EXPECT_EQ(ListingText(u"/d"), u"old?0?1?0?1?2\r\n");
  EXPECT_EQ(TimeOf(u"/d/"), kEarly);
  EXPECT_TRUE(TooLarge());
  EXPECT_TRUE(ListFolder(Names().work_folder()).empty());
}

TEST_F(OutOfDisk, AnEditKeepsTheOldListing) {
  cache().CacheFolderContents(u"/d/");
  const Text before = ListingText(u"/d");
  {
    const FullDisk full;
    EXPECT_FALSE(cache().UpdateCacheFileList(u"/d/new", {}));
  }
  EXPECT_EQ(ListingText(u"/d"), before);
  EXPECT_TRUE(TooLarge());
}

TEST_F(OutOfDisk, AfterAnEditThatCouldNotBeStoredTheNextWalkFetchesAnew) {
  const Text gone = u"/d/a file with a long name 150";
  const Text old_name = u"/d/a file with a long name 151";
  const auto lists = [this](TextView path) {
    const std::vector<Text> names = Walk(u"/d/");
    return std::ranges::count(names, Text(PathLeaf(path))) == 1;
  };
  EXPECT_TRUE(lists(gone));
  {
    const FullDisk full;
    EXPECT_TRUE(cache().DeleteCachedResource(gone, true));
  }
  EXPECT_FALSE(lists(gone));
  {
    const FullDisk full;
    EXPECT_EQ(cache().RenameCachedResource(old_name, u"/d/new", true), kRenameDone);
  }
  EXPECT_TRUE(lists(u"/d/new"));
  EXPECT_FALSE(lists(old_name));
  {
    const FullDisk full;
    EXPECT_FALSE(cache().CreateCacheDirectory(u"/d/folder"));
  }
  EXPECT_TRUE(lists(u"/d/folder"));
}

TEST_F(OutOfDisk, TheContentOfADeletedFileGoesThoughItCannotBeTakenOffTheList) {
  const Text path = u"/d/a file with a long name 150";
  WriteContent(path, "content");
  for (int i = 0; i < 300; ++i) {
    const Text other = Format(u"/d/a file with a long name %d", i);
    cache().pending().Add(other, PendingKind::kContent, u"");
  }
  {
    const FullDisk full;
    EXPECT_TRUE(cache().DeleteCachedResource(path, true));
  }
  EXPECT_TRUE(cache().pending().Contains(path));
  EXPECT_FALSE(FileExists(Names().GetFileRecordName(path)));
  // When it is to be sent there is nothing to send.
  cache().TransferCachedFile(path, true);
  EXPECT_FALSE(account_.Has("/d/a file with a long name 150"));
  EXPECT_FALSE(cache().pending().Contains(path));
}

TEST_F(OutOfDisk, ABlockThatDoesNotFitIsRefused) {
  const FullDisk full;
  EXPECT_FALSE(Store(u"/d/f", std::string(20'000, 'x')));
  EXPECT_TRUE(home_.LogHasLine(u"CacheDebug.txt", u"Exception while Caching file!"));
}

TEST_F(OutOfDisk, ARecordThatDoesNotFitLeavesNoPartOfItself) {
  const Text text(8 * 1024 - 4, u'x');
  WriteListing(u"/e", text);
  {
    const FullDisk full;
    EXPECT_THROW(AppendToListing(Names().GetDirRecordName(u"/e"), u"a name?0?1?0?1?2\r\n",
                                 Disposition::kOpenAlways),
                 Error);
  }
  EXPECT_EQ(ListingText(u"/e"), text);
}

TEST_F(OutOfDisk, AJournalThatDoesNotFitLeavesNoPartOfItself) {
  {
    const FullDisk full;
    EXPECT_THROW(WriteJournal(u"Delete_src.txt", Text(20'000, u'x')), Error);
  }
  EXPECT_TRUE(IsAbsent(JournalPath(u"Delete_src.txt")));
}

TEST_F(OutOfDisk, ADownloadThatDoesNotFitLeavesNoContent) {
  account_.AddFile("/big", std::string(200'000, 'x'), kEarly);
  VirtualClock clock;
  const FullDisk full;
  EXPECT_FALSE(cache().CacheRestoreFile(u"/big"));
  EXPECT_FALSE(FileExists(Names().GetFileRecordName(u"/big")));
  EXPECT_TRUE(ListFolder(Names().work_folder()).empty());
}

}  // namespace
}  // namespace zv::testing
