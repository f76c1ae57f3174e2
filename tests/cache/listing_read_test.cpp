// Listings parsed whole, by index and by name.
#include <gtest/gtest.h>

#include <chrono>

#include "cache/entry_record.h"
#include "tests/cache/cache_fixture.h"

namespace zv::testing {
namespace {

class ListingRead : public CacheTest {
 protected:
  Text File(TextView folder) const { return Names().GetDirRecordName(folder); }
  DirectoryEntry At(TextView folder, int32_t index) {
    DirectoryEntry entry;
    EXPECT_TRUE(cache().ParseSingleFromFile(File(folder), index, &entry));
    return entry;
  }
  bool HasIndex(TextView folder, int32_t index) {
    DirectoryEntry entry;
    return cache().ParseSingleFromFile(File(folder), index, &entry);
  }
};

TEST_F(ListingRead, EntriesAreNumberedFromOne) {
  WriteListing(u"/d", u"a?0?7?32?100?200\r\nb?1?0?16?300?400\r\n");
  const DirectoryEntry first = At(u"/d", 1);
  EXPECT_EQ(first.Name(), u"a");
  EXPECT_EQ(first.directory_flag, 0U);
  EXPECT_EQ(first.name_length, 1U);
  EXPECT_EQ(first.attributes, 32U);
  EXPECT_EQ(first.kind, 1U);
  EXPECT_EQ(first.size, 7);
  EXPECT_EQ(first.last_entry, 0U);
  EXPECT_EQ(first.creation_time, 100);
  EXPECT_EQ(first.last_access_time, 200);
  EXPECT_EQ(first.last_write_time, 200);
  EXPECT_EQ(first.change_time, 200);
  const DirectoryEntry second = At(u"/d", 2);
  EXPECT_EQ(second.Name(), u"b");
  EXPECT_EQ(second.kind, 2U);
  EXPECT_EQ(second.last_entry, 0U);
}

TEST_F(ListingRead, AnIndexOutsideTheListingIsRefused) {
  WriteListing(u"/d", u"a?0?7?32?100?200\r\n");
  for (const int32_t index : {2, 3, 100000, 0, -1, INT32_MIN}) EXPECT_FALSE(HasIndex(u"/d", index));
}

TEST_F(ListingRead, IndexOneAlwaysParsesAnew) {
  WriteListing(u"/d", u"a?0?7?32?100?200\r\nb?0?0?0?0?0\r\n");
  At(u"/d", 1);
  WriteListing(u"/d", u"c?0?7?32?100?200\r\nd?0?0?0?0?0\r\n");
  EXPECT_EQ(At(u"/d", 2).Name(), u"b");
  EXPECT_EQ(At(u"/d", 1).Name(), u"c");
  EXPECT_EQ(At(u"/d", 2).Name(), u"d");
}

TEST_F(ListingRead, AnotherListingReplacesTheLoadedOne) {
  WriteListing(u"/d", u"a?0?7?32?100?200\r\nb?0?0?0?0?0\r\n");
  WriteListing(u"/e", u"x?0?7?32?100?200\r\ny?0?0?0?0?0\r\n");
  At(u"/d", 1);
  EXPECT_EQ(At(u"/e", 2).Name(), u"y");
  EXPECT_EQ(At(u"/d", 2).Name(), u"b");
}

TEST_F(ListingRead, AMissingListingIsLeftEmptyAndHasNoEntry) {
  EXPECT_FALSE(HasIndex(u"/d", 1));
  EXPECT_EQ(ReadFileBytes(File(u"/d")), "");
}

TEST_F(ListingRead, AnEmptyListingKeepsWhatWasLoaded) {
  WriteListing(u"/d", u"a?0?7?32?100?200\r\n");
  EXPECT_TRUE(cache().ParseFileListFromCache(File(u"/d")));
  WriteListing(u"/e", u"");
  EXPECT_FALSE(cache().ParseFileListFromCache(File(u"/e")));
  EXPECT_FALSE(HasIndex(u"/e", 2));
}

TEST_F(ListingRead, LinesThatAreNoRecordsAreSkipped) {
  WriteListing(u"/d", u"nothing\r\na?0?7?32?100?200\r\n\r\nb?1?0?0?0?0\r\n");
  EXPECT_EQ(At(u"/d", 1).Name(), u"a");
  EXPECT_EQ(At(u"/d", 2).Name(), u"b");
  EXPECT_FALSE(HasIndex(u"/d", 3));
}

TEST_F(ListingRead, AListingCutInMidLineGivesWhatIsThere) {
  WriteListing(u"/d", u"a?0?7?32?100?200\r\nbb?0?71");
  const DirectoryEntry last = At(u"/d", 2);
  EXPECT_EQ(last.Name(), u"bb");
  EXPECT_EQ(last.size, 71);
}

TEST_F(ListingRead, RandomBytesAreNoHarm) {
  uint32_t state = 1;
  for (int round = 0; round < 50; ++round) {
    std::string bytes(501, '\0');
    for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    WriteFileBytes(File(u"/d"), bytes);
    DirectoryEntry entry;
    for (int32_t index = 1; cache().ParseSingleFromFile(File(u"/d"), index, &entry); ++index) {
      EXPECT_LE(entry.Name().size(), 259U);
    }
    cache().ParseSingleResource(File(u"/d"), u"/d/a", &entry);
    cache().ParseDirContentsFromFile(File(u"/d"), u"/d/a", u"");
  }
}

TEST_F(ListingRead, AFolderInTheListingsPlaceIsToldInTheLog) {
  MakeFolders(File(u"/d"));
  EXPECT_FALSE(HasIndex(u"/d", 1));
  EXPECT_TRUE(
      Logged(u"Unable to open file " + File(u"/d") + u" for parsing cache details, Reason: "));
}

TEST_F(ListingRead, TenThousandEntriesAreParsedWrittenAndEditedFast) {
  Text text;
  for (int i = 0; i < 10'000; ++i) {
    text += FormatRecord(RecordFormat::kListing,
                         {.name = u"a file of the folder " + FromUtf8(std::to_string(i)),
                          .size = i,
                          .creation_time = 12'777'135'389,
                          .change_time = 12'777'135'389});
  }
  WriteListing(u"/d", text);
  cache();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(cache().ParseFileListFromCache(File(u"/d")));
  const auto parsed = std::chrono::steady_clock::now();
  EXPECT_TRUE(cache().ParseDirContentsFromFile(File(u"/d"), u"/d/a file of the folder 5000", u""));
  const auto edited = std::chrono::steady_clock::now();
  RecordProperty("parse_us", std::to_string((parsed - start).count() / 1000));
  RecordProperty("edit_us", std::to_string((edited - parsed).count() / 1000));
  EXPECT_LT(parsed - start, std::chrono::seconds(2));
  EXPECT_LT(edited - parsed, std::chrono::seconds(2));
  EXPECT_TRUE(HasIndex(u"/d", 9'999));
  EXPECT_FALSE(HasIndex(u"/d", 10'001));
}

class SingleResource : public ListingRead {
 protected:
  bool Find(TextView path) { return cache().ParseSingleResource(File(u"/a"), path, &entry_); }
  DirectoryEntry entry_;
};

TEST_F(SingleResource, CarriesTheWholePathWithBackslashes) {
  WriteListing(u"/a", u"x?0?1?0?0?0\r\nf.txt?0?7?32?100?200\r\n");
  ASSERT_TRUE(Find(u"/a/f.txt"));
  EXPECT_EQ(entry_.Name(), u"\\a\\f.txt");
  EXPECT_EQ(entry_.name_length, 8U);
  EXPECT_EQ(entry_.kind, 1U);
  EXPECT_EQ(entry_.last_entry, 1U);
  EXPECT_EQ(entry_.size, 7);
  EXPECT_EQ(entry_.attributes, 32U);
  EXPECT_EQ(entry_.creation_time, 100);
  EXPECT_EQ(entry_.last_access_time, 200);
  EXPECT_EQ(entry_.last_write_time, 200);
  EXPECT_EQ(entry_.change_time, 200);
}

TEST_F(SingleResource, WithATrailingSlashIsAFolder) {
  WriteListing(u"/a", u"b?0?1?0?0?0\r\nb?1?2?0?0?0\r\n");
  ASSERT_TRUE(Find(u"/a/b/"));
  EXPECT_EQ(entry_.directory_flag, 1U);
  EXPECT_EQ(entry_.Name(), u"\\a\\b\\");
}

TEST_F(SingleResource, WithoutATrailingSlashIsTheFirstOfEitherKind) {
  WriteListing(u"/a", u"b?1?0?0?0?0\r\n");
  EXPECT_TRUE(Find(u"/a/b"));
  EXPECT_EQ(entry_.directory_flag, 1U);
  WriteListing(u"/a", u"b?0?0?0?0?0\r\n");
  EXPECT_TRUE(Find(u"/a/b"));
  EXPECT_EQ(entry_.directory_flag, 0U);
}

TEST_F(SingleResource, NamesAreComparedWholeAndInTheirCase) {
  WriteListing(u"/a", u"bc?0?0?0?0?0\r\nB?0?0?0?0?0\r\n");
  EXPECT_FALSE(Find(u"/a/b"));
  EXPECT_FALSE(Find(u"/a/bcd"));
}

TEST_F(SingleResource, IsSearchedPastLinesThatAreNoRecords) {
  WriteListing(u"/a", u"b\r\nno record\r\nb?0?7?0?0?0\r\n");
  ASSERT_TRUE(Find(u"/a/b"));
  EXPECT_EQ(entry_.size, 7);
  EXPECT_FALSE(Find(u"/a/no record"));
}

TEST_F(SingleResource, InAMissingListingIsToldInTheLog) {
  EXPECT_FALSE(Find(u"/a/b"));
  EXPECT_FALSE(HasListing(u"/a"));
  EXPECT_TRUE(Logged(u"Unable to open file " + File(u"/a") +
                     u" for reading single cache details (resource), Reason: "));
}

TEST_F(SingleResource, OfAFolderNeverListedIsFetchedWithItsParent) {
  account_.AddFolder("/Docs", kEarly);
  account_.AddFile("/Docs/a.txt", "12345", kEarly);
  DirectoryEntry entry;
  ASSERT_TRUE(cache().GetCachedResourceDetails(u"/Docs/a.txt", &entry));
  EXPECT_EQ(entry.size, 5);
  EXPECT_TRUE(HasListing(u"/Docs"));
  account_.server().ClearRequests();
  EXPECT_FALSE(cache().GetCachedResourceDetails(u"/Docs/b.txt", &entry));
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(SingleResource, InTheRootIsFoundInTheRootListing) {
  account_.AddFolder("/Docs", kEarly);
  DirectoryEntry entry;
  EXPECT_TRUE(cache().GetCachedResourceDetails(u"/Docs/", &entry));
  EXPECT_EQ(entry.directory_flag, 1U);
  EXPECT_EQ(account_.Count("PROPFIND", "1"), 2U);
}

TEST_F(SingleResource, WhoseParentCannotBeFetchedIsNotFound) {
  DirectoryEntry entry;
  EXPECT_FALSE(cache().GetCachedResourceDetails(u"/missing/a", &entry));
  EXPECT_FALSE(HasListing(u"/missing"));
}

}  // namespace
}  // namespace zv::testing
