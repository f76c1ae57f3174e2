// Single records added, replaced, renamed and removed.
#include <gtest/gtest.h>

#include "cache/entry_record.h"
#include "tests/cache/cache_fixture.h"

namespace zv::testing {
namespace {

constexpr TextView kX = u"x.txt?0?5?32?100?200\r\n";
constexpr TextView kZ = u"z?1?0?16?300?400\r\n";

class ListingEdit : public CacheTest {
 protected:
  ListingEdit() { WriteListing(u"/a", Text(kX) + Text(kZ)); }
  bool Edit(TextView old_path, TextView new_path) {
    return cache().ParseDirContentsFromFile(Names().GetDirRecordName(u"/a"), old_path, new_path);
  }
};

TEST_F(ListingEdit, DropsARecord) {
  EXPECT_TRUE(Edit(u"/a/x.txt", u""));
  EXPECT_EQ(ListingText(u"/a"), kZ);
}

TEST_F(ListingEdit, TakesAPlainNameForAPath) {
  EXPECT_TRUE(Edit(u"x.txt", u""));
  EXPECT_EQ(ListingText(u"/a"), kZ);
}

TEST_F(ListingEdit, DropsNothingThatIsNotThere) {
  EXPECT_TRUE(Edit(u"/a/X.TXT", u""));
  EXPECT_EQ(ListingText(u"/a"), Text(kX) + Text(kZ));
}

TEST_F(ListingEdit, RenamesARecordInItsPlace) {
  EXPECT_TRUE(Edit(u"/a/x.txt", u"/a/y.txt"));
  EXPECT_EQ(ListingText(u"/a"), u"y.txt?0?5?32?100?200\r\n" + Text(kZ));
}

TEST_F(ListingEdit, ARecordRenamedReplacesTheOneOfItsNewName) {
  EXPECT_TRUE(Edit(u"/a/x.txt", u"/a/z"));
  EXPECT_EQ(ListingText(u"/a"), u"z?0?5?32?100?200\r\n");
}

TEST_F(ListingEdit, ANameThatIsNotListedIsRenamedToNothing) {
  EXPECT_TRUE(Edit(u"/a/gone", u"/a/z"));
  EXPECT_EQ(ListingText(u"/a"), Text(kX) + Text(kZ));
}

TEST_F(ListingEdit, MovesARecordIntoTheCurrentEntryUnderItsNewName) {
  EXPECT_TRUE(Edit(u"/a/x.txt", u"/b/w.txt"));
  EXPECT_EQ(ListingText(u"/a"), kZ);
  EXPECT_TRUE(cache().AddFileEntryToCacheFile(u"/b/w.txt"));
  EXPECT_EQ(ListingText(u"/b"), u"w.txt?0?5?32?100?200\r\n");
}

TEST_F(ListingEdit, TellsWhetherAnyRecordWasThere) {
  bool found = false;
  EXPECT_TRUE(cache().ParseDirContentsFromFile(Names().GetDirRecordName(u"/a"), u"q", u"", &found));
  EXPECT_TRUE(found);
  EXPECT_FALSE(
      cache().ParseDirContentsFromFile(Names().GetDirRecordName(u"/n"), u"q", u"", &found));
  EXPECT_FALSE(found);
}

TEST_F(ListingEdit, OfAMissingListingLeavesAnEmptyOne) {
  EXPECT_FALSE(cache().ParseDirContentsFromFile(Names().GetDirRecordName(u"/n"), u"/n/q", u""));
  EXPECT_EQ(ReadFileBytes(Names().GetDirRecordName(u"/n")), "");
}

TEST_F(ListingEdit, WritesOtherRecordsInTheListingForm) {
  WriteListing(u"/a", u"no record\r\ny? +0?07?0?1? 2\r\nx?0?1?0?1?1");
  EXPECT_TRUE(Edit(u"/a/q", u""));
  EXPECT_EQ(ListingText(u"/a"), u"y?0?7?0?1?2\r\nx?0?1?0?1?1\r\n");
}

TEST_F(ListingEdit, OfAFolderInTheListingsPlaceIsToldInTheLog) {
  const Text file = Names().GetDirRecordName(u"/n");
  MakeFolders(file);
  EXPECT_FALSE(cache().ParseDirContentsFromFile(file, u"q", u""));
  EXPECT_TRUE(Logged(u"Unable to open file " + file + u" for parsing cache details, Reason: "));
}

TEST_F(ListingEdit, AddsTheCurrentEntryAtTheEnd) {
  WriteListing(u"/b", kZ);
  Edit(u"/a/x.txt", u"/b/x.txt");
  EXPECT_TRUE(cache().AddFileEntryToCacheFile(u"/b/x.txt"));
  EXPECT_EQ(ListingText(u"/b"), Text(kZ) + Text(kX));
}

TEST_F(ListingEdit, AddingToAFolderInTheListingsPlaceFailsWithItsLine) {
  const Text file = Names().GetDirRecordName(u"/n");
  MakeFolders(file);
  EXPECT_FALSE(cache().AddFileEntryToCacheFile(u"/n/x"));
  EXPECT_TRUE(Logged(u"Unable to open file in AddFileEntryToCacheFile " + file +
                     u" for writing cache details, Reason: "));
}

// 2009-02-13 10:00:00.5 UTC
constexpr uint64_t kWhen = 128'789'928'005'000'000;
constexpr TextView kWhenTwice = u"12878992800?12878992800\r\n";

FindData Information(uint32_t attributes, uint64_t size) {
  FindData data;
  data.attributes = attributes;
  data.last_write_time[0] = static_cast<uint32_t>(kWhen);
  data.last_write_time[1] = static_cast<uint32_t>(kWhen >> 32);
  data.size_low = static_cast<uint32_t>(size);
  data.size_high = static_cast<uint32_t>(size >> 32);
  return data;
}

TEST_F(ListingEdit, AnUpdateReplacesTheRecordOfItsName) {
  EXPECT_TRUE(cache().UpdateCacheFileList(u"/a/x.txt", Information(0x20, 9)));
  EXPECT_EQ(ListingText(u"/a"), Text(kZ) + u"x.txt?0?9?0?" + Text(kWhenTwice));
}

TEST_F(ListingEdit, AnUpdateWritesTheLow32BitsOfTheSize) {
  EXPECT_TRUE(cache().UpdateCacheFileList(u"/a/big", Information(0, 5'000'000'000)));
  EXPECT_NE(ListingText(u"/a").find(u"big?0?705032704?0?"), Text::npos);
}

TEST_F(ListingEdit, AnUpdateOfANewFolderMakesItsListingWithTheRootLines) {
  EXPECT_TRUE(cache().UpdateCacheFileList(u"/a/new", Information(kAttributeDirectory, 0)));
  EXPECT_EQ(ListingText(u"/a"), Text(kX) + Text(kZ) + u"new?1?0?0?" + Text(kWhenTwice));
  EXPECT_EQ(ReadFileBytes(Names().GetDirRecordName(u"/a/new")), RootLineBytes());
}

TEST_F(ListingEdit, AnUpdateThatItsParentsListingDoesNotTakeMakesNoListing) {
  MakeFolders(Names().GetDirRecordName(u"/n"));
  EXPECT_FALSE(cache().UpdateCacheFileList(u"/n/new", Information(kAttributeDirectory, 0)));
  EXPECT_FALSE(HasListing(u"/n/new"));
}

TEST_F(ListingEdit, AnUpdateLeavesTheListingOfAKnownFolderAlone) {
  WriteListing(u"/a/z", kX);
  EXPECT_TRUE(cache().UpdateCacheFileList(u"/a/z", Information(kAttributeDirectory, 0)));
  EXPECT_EQ(ListingText(u"/a/z"), kX);
}

TEST_F(ListingEdit, AnUpdateAfterTheRootLinesCanBeRead) {
  cache().UpdateCacheFileList(u"/a/new", Information(kAttributeDirectory, 0));
  EXPECT_TRUE(cache().UpdateCacheFileList(u"/a/new/f", Information(0, 1)));
  DirectoryEntry entry;
  EXPECT_TRUE(cache().GetCachedResourceDetails(u"/a/new/f", &entry));
}

TEST_F(ListingEdit, AnUpdateInAFolderNeverListedCreatesNothing) {
  EXPECT_FALSE(cache().UpdateCacheFileList(u"/never/listed/f.txt", Information(0, 1)));
  EXPECT_FALSE(HasListing(u"/never/listed"));
}

TEST_F(ListingEdit, AnUpdateInTheRootMakesTheRootListing) {
  EXPECT_TRUE(cache().UpdateCacheFileList(u"/f", Information(0, 1)));
  EXPECT_EQ(ListingText(u"/"), u"f?0?1?0?" + Text(kWhenTwice));
}

TEST_F(ListingEdit, AFoldersOwnEntryIsUpdatedOnlyWhenTheFolderIsTimed) {
  EXPECT_TRUE(cache().UpdateRootCacheFileList(u"/a/z/", {kWhen}));
  EXPECT_EQ(ListingText(u"/a"), Text(kX) + Text(kZ));
  WriteTime(u"/a/z/", kEarly);
  EXPECT_TRUE(cache().UpdateRootCacheFileList(u"/a/z/", {kWhen}));
  EXPECT_EQ(ListingText(u"/a"), Text(kX) + u"z?1?0?0?" + Text(kWhenTwice));
}

TEST_F(ListingEdit, TheRootHasNoEntryOfItsOwn) {
  WriteTime(u"/", kEarly);
  EXPECT_TRUE(cache().UpdateRootCacheFileList(u"/", {kWhen}));
  EXPECT_FALSE(HasListing(u"/"));
}

}  // namespace
}  // namespace zv::testing
