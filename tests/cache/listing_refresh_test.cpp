// When a listing is fetched, and what is written then.
#include <gtest/gtest.h>

#include "tests/cache/cache_fixture.h"
#include "worker/progress.h"

namespace zv::testing {
namespace {

using List = std::vector<Text>;

class ListingRefresh : public CacheTest {
 protected:
  ListingRefresh() {
    account_.AddFolder("/Docs", kEarly);
    account_.AddFile("/Docs/a b.txt", "12345", kEarly);
    account_.AddFolder("/Docs/sub", kEarly);
    account_.AddFolder("/Other", kEarly);
  }
  bool Ask(TextView folder, int32_t index) {
    DirectoryEntry entry;
    return cache().GetCachedDirContents(folder, index, &entry);
  }
  // Requests for a folder's members, and for its time.
  size_t listings() const { return account_.Count("PROPFIND", "1"); }
  size_t checks() const { return account_.Count("PROPFIND", "0"); }
};

TEST_F(ListingRefresh, AFolderNeverSeenIsFetchedAndTimed) {
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"a b.txt", u"sub"}));
  EXPECT_EQ(listings(), 1U);
  EXPECT_EQ(TimeOf(u"/Docs/"), kEarly);
  EXPECT_EQ(ListingText(u"/Docs/"),
            u".?1?0?0?12844473600?12844473600\r\n"
            u"..?1?0?0?12844473600?12844473600\r\n"
            u"a b.txt?0?5?0?12844473600?12844473600\r\n"
            u"sub?1?0?0?12844473600?12844473600\r\n");
}

TEST_F(ListingRefresh, AFolderNeverSeenIsNotRememberedAsChecked) {
  EXPECT_TRUE(Ask(u"/Docs/", 1));
  EXPECT_EQ(checks(), 1U);
  EXPECT_TRUE(Ask(u"/Docs/", 2));
  EXPECT_EQ(checks(), 2U);
  EXPECT_TRUE(Ask(u"/Docs/", 3));
  EXPECT_EQ(checks(), 2U);
}

TEST_F(ListingRefresh, RequestsForOneFolderInARowAskOnce) {
  Walk(u"/Docs/");
  account_.server().ClearRequests();
  for (const int32_t index : {1, 2, 1, 3}) EXPECT_TRUE(Ask(u"/Docs/", index));
  EXPECT_EQ(checks(), 1U);
  EXPECT_EQ(account_.server().request_count(), 1U);
}

TEST_F(ListingRefresh, AnotherFolderInBetweenMakesItAskAgain) {
  Walk(u"/Docs/");
  Walk(u"/Other/");
  account_.server().ClearRequests();
  for (const TextView folder : {u"/Docs/", u"/Other/", u"/Docs/"}) EXPECT_TRUE(Ask(folder, 1));
  EXPECT_EQ(checks(), 3U);
  EXPECT_EQ(listings(), 0U);
}

TEST_F(ListingRefresh, EachWalkOfAnUnchangedFolderAsksForItsTimeAlone) {
  Walk(u"/Docs/");
  account_.server().ClearRequests();
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"a b.txt", u"sub"}));
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"a b.txt", u"sub"}));
  EXPECT_EQ(checks(), 2U);
  EXPECT_EQ(listings(), 0U);
}

TEST_F(ListingRefresh, AChangedFolderIsFetchedAgainAndTimedAnew) {
  Walk(u"/Docs/");
  account_.AddFile("/Docs/new.txt", "x", kLate);
  account_.SetTime("/Docs", kLate);
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"a b.txt", u"new.txt", u"sub"}));
  EXPECT_EQ(TimeOf(u"/Docs/"), kLate);
}

TEST_F(ListingRefresh, AChangedFolderGetsItsNewTimeInItsParentsListing) {
  Walk(u"/");
  Walk(u"/Docs/");
  account_.SetTime("/Docs", kLate);
  Walk(u"/Docs/");
  const Text seconds = FromUtf8(std::to_string(FromUnix(kLate).value));
  EXPECT_NE(ListingText(u"/").find(u"Docs?1?0?0?" + seconds + u"?" + seconds + u"\r\n"),
            Text::npos);
}

TEST_F(ListingRefresh, AFolderWithoutAStoredTimeLeavesItsParentsListingAlone) {
  Walk(u"/");
  WriteListing(u"/Docs", u"old?0?1?0?1?1\r\n");
  const Text parent = ListingText(u"/");
  account_.SetTime("/Docs", kLate);
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"a b.txt", u"sub"}));
  EXPECT_EQ(ListingText(u"/"), parent);
  EXPECT_EQ(TimeOf(u"/Docs/"), kLate);
}

TEST_F(ListingRefresh, AnUnchangedFolderShowsTheFilesThatWaitToBeSent) {
  Walk(u"/Docs/");
  WriteContent(u"/Docs/new.txt", "written here");
  cache().pending().Add(u"/Docs/new.txt", PendingKind::kContent, u"");
  WriteContent(u"/Docs/a b.txt", "more than before");
  cache().pending().Add(u"/Docs/a b.txt", PendingKind::kContent, u"");
  cache().pending().Add(u"/Docs/empty", PendingKind::kEmpty, u"");
  cache().pending().Add(u"/Docs/content is gone", PendingKind::kContent, u"");
  account_.server().ClearRequests();
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"sub", u"new.txt", u"a b.txt", u"empty"}));
  DirectoryEntry entry;
  EXPECT_TRUE(cache().GetCachedResourceDetails(u"/Docs/a b.txt", &entry));
  EXPECT_EQ(entry.size, 16);
  const Text listing = ListingText(u"/Docs/");
  EXPECT_EQ(Walk(u"/Docs/").size(), 4U);
  EXPECT_EQ(ListingText(u"/Docs/"), listing);
  EXPECT_EQ(listings(), 0U);
}

TEST_F(ListingRefresh, AFailedCheckFetchesWithoutStoringATime) {
  Walk(u"/Docs/");
  account_.Remove("/Docs/sub");
  account_.Force("PROPFIND", 500, 1);
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"a b.txt"}));
  EXPECT_EQ(TimeOf(u"/Docs/"), kEarly);
}

TEST_F(ListingRefresh, AListingThatCannotBeStoredKeepsItsTime) {
  MakeFolders(
      Names().GetDirRecordName(u"/Docs"));  // no file: it can be neither replaced nor written
  WriteTime(u"/Docs/", kEarly);
  EXPECT_FALSE(cache().CacheFolderContents(u"/Docs/"));
  EXPECT_EQ(TimeOf(u"/Docs/"), kEarly);
}

TEST_F(ListingRefresh, AFailedRefreshKeepsListingAndTime) {
  Walk(u"/Docs/");
  const Text before = ListingText(u"/Docs");
  account_.SetTime("/Docs", kLate);
  account_.Force("PROPFIND", 500, 2);
  EXPECT_EQ(Walk(u"/Docs/"), List{});
  EXPECT_EQ(ListingText(u"/Docs"), before);
  EXPECT_EQ(TimeOf(u"/Docs/"), kEarly);
  cache().ForgetFolderState();
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"a b.txt", u"sub"}));
  EXPECT_EQ(TimeOf(u"/Docs/"), kLate);
}

TEST_F(ListingRefresh, AnAnswerThatIsNoListingKeepsTheFilesAsTheyWere) {
  Walk(u"/Docs/");
  const Text before = ListingText(u"/Docs");
  for (const char* body : {"", "garbage", "<D:multistatus xmlns:D=\"DAV:\"><D:response>"}) {
    account_.SetTime("/Docs", kLate);
    cache().ForgetFolderState();
    account_.server().Enqueue(Reply::Status(207).Body(body));
    account_.server().Enqueue(Reply::Status(207).Body(body));
    EXPECT_EQ(Walk(u"/Docs/"), List{}) << body;
    EXPECT_EQ(ListingText(u"/Docs"), before);
    EXPECT_EQ(TimeOf(u"/Docs/"), kEarly);
  }
}

TEST_F(ListingRefresh, AnUnreachableFolderGivesNothingAndLeavesNothing) {
  EXPECT_EQ(Walk(u"/missing/"), List{});
  EXPECT_FALSE(HasListing(u"/missing"));
}

TEST_F(ListingRefresh, TheRootIsFetchedTwice) {
  EXPECT_EQ(Walk(u"/"), (List{u"Docs", u"Other"}));
  EXPECT_EQ(listings(), 2U);
  account_.server().ClearRequests();
  EXPECT_TRUE(cache().CacheFolderContents(u""));
  EXPECT_EQ(listings(), 2U);
}

TEST_F(ListingRefresh, ARootWhoseSecondAnswerFailsIsNotListed) {
  account_.server().Enqueue(Reply::Status(207).Body(
      "<D:multistatus xmlns:D='DAV:'><D:response><D:href>/users/u/Files/</D:href></D:response>"
      "</D:multistatus>"));
  account_.server().Enqueue(Reply::Status(500));
  EXPECT_FALSE(cache().CacheFolderContents(u"/"));
  EXPECT_FALSE(HasListing(u"/"));
}

TEST_F(ListingRefresh, AListingThatCannotBeWrittenIsToldInTheLog) {
  MakeFolders(CacheNames(Folder()).GetDirRecordName(u"/Docs"));
  EXPECT_FALSE(cache().CacheFolderContents(u"/Docs/"));
  EXPECT_TRUE(Logged(u"Unable to open file " + Folder() +
                     u"dir#ZV#Docs for writing cache details, Reason: "));
}

TEST_F(ListingRefresh, HandsOutTheServersOwnArray) {
  DirectoryEntry* entries = nullptr;
  ASSERT_TRUE(cache().CacheFolderContents(u"/Docs/", &entries));
  ASSERT_NE(entries, nullptr);
  EXPECT_EQ(entries[0].Name(), u".");
  EXPECT_EQ(entries[2].Name(), u"a b.txt");
  EXPECT_EQ(entries[3].last_entry, 1U);
}

TEST_F(ListingRefresh, ManyEntriesAreWrittenAndReadInOrder) {
  for (int i = 100; i < 400; ++i) account_.AddFile("/Other/f" + std::to_string(i), "", kEarly);
  const List names = Walk(u"/Other/");
  ASSERT_EQ(names.size(), 300U);
  EXPECT_EQ(names.front(), u"f100");
  EXPECT_EQ(names.back(), u"f399");
}

class ListingWithoutChecks : public CacheTest {
 protected:
  ListingWithoutChecks() : CacheTest({.check_freshness = false}) {
    account_.AddFolder("/Docs", kEarly);
    account_.AddFile("/Docs/a", "1", kEarly);
  }
};

TEST_F(ListingWithoutChecks, IsFetchedOnlyWhenMissing) {
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"a"}));
  account_.server().ClearRequests();
  account_.SetTime("/Docs", kLate);
  cache().ForgetFolderState();
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"a"}));
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(ListingWithoutChecks, AnyValueButOneLeavesChecksOff) {
  home_.SetSetting(kSettingsSubKey, u"Intelligent Cache", u"11");
  Walk(u"/Docs/");
  account_.server().ClearRequests();
  Walk(u"/Docs/");
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(ListingRefresh, AFileThatIsBeingWrittenOverKeepsItsRecord) {
  Walk(u"/Docs/");
  const Text before = ListingText(u"/Docs");
  WriteContent(u"/Docs/a b.txt", "more than before");
  cache().pending().Add(u"/Docs/a b.txt", PendingKind::kBeingWritten, u"");
  EXPECT_EQ(Walk(u"/Docs/"), (List{u"a b.txt", u"sub"}));
  EXPECT_EQ(ListingText(u"/Docs"), before);
}

TEST_F(ListingRefresh, AFetchForTheUsedSpaceLeavesTheRootsTime) {
  Walk(u"/");
  const int64_t time = TimeOf(u"/");
  int64_t quota = 0;
  int64_t used = 0;
  EXPECT_TRUE(cache().GetUsedSpaceDetails(&quota, &used));
  EXPECT_EQ(TimeOf(u"/"), time);
  account_.server().ClearRequests();
  Walk(u"/");
  EXPECT_EQ(checks(), 1U);
  EXPECT_EQ(listings(), 0U);
}

using CacheStart = CacheTest;

TEST_F(CacheStart, MakesTheCacheFolder) {
  home_.SetSetting(kApplicationSubKey, u"Application Path", u"C:\\Program Files\\New");
  cache();
  EXPECT_TRUE(FileExists(u"C:\\Stratel Drive\\Cache@u\\"));
}

TEST_F(CacheStart, UsedSpaceOfTheSettingsNeedsNoServer) {
  home_.SetSetting(kConnectionSubKey, u"OLdUsedQuota", u"123456");
  int64_t quota = -1;
  int64_t used = -1;
  EXPECT_TRUE(cache().GetUsedSpaceDetails(&quota, &used));
  EXPECT_EQ(used, 123456);
  EXPECT_EQ(account_.server().request_count(), 0U);
}

TEST_F(CacheStart, UsedSpaceThatIsNotStoredComesFromARootListing) {
  int64_t quota = -1;
  int64_t used = -1;
  EXPECT_TRUE(cache().GetUsedSpaceDetails(&quota, &used));
  EXPECT_EQ(used, 7);
  EXPECT_EQ(quota, 1000);
  EXPECT_TRUE(HasListing(u"/"));
}

TEST_F(CacheStart, UsedSpaceOfAnUnreachableServerIsStillAnswered) {
  account_.Force("PROPFIND", 500, 10);
  int64_t quota = -1;
  int64_t used = -1;
  EXPECT_TRUE(cache().GetUsedSpaceDetails(&quota, &used));
  EXPECT_EQ(used, 0);
}

}  // namespace
}  // namespace zv::testing
