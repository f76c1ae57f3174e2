// Listings' replies turned into records.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/webdav/replies.h"
#include "worker/progress.h"

namespace zv::testing {
namespace {

class MultistatusTest : public HomeTest {
 protected:
  MultistatusTest() { home_.SetAccount(u"127.0.0.1", u"u", u"p"); }

  // The records up to the last-entry flag; none when parsing failed.
  std::vector<DirectoryEntry> Parse(std::string_view reply) {
    DirectoryEntry* entries = nullptr;
    std::vector<DirectoryEntry> listed;
    if (!client().ParseMultistatus(FromAnsi(reply), &entries)) {
      EXPECT_EQ(entries, nullptr);
      return listed;
    }
    do {
      listed.push_back(*entries);
    } while (entries++->last_entry == 0);
    return listed;
  }

  CWebDAV& client() {
    if (!client_) client_.emplace();
    return *client_;
  }

  void ExpectRefused(std::string_view reply, TextView trace) {
    EXPECT_TRUE(Parse(reply).empty());
    EXPECT_TRUE(home_.LogHasLine(u"DavDebug.txt", trace)) << ToUtf8(home_.LogText(u"DavDebug.txt"));
  }

  std::optional<CWebDAV> client_;
};

constexpr TextView kNoFiles = u"Returning false from parser, Reason: no files";
const std::string kFolder = Response("/users/u/Files/", Quota("100", "40"));

TEST_F(MultistatusTest, ListsDotsThenMembersAndNotTheFolderItself) {
  const auto listed = Parse(Multistatus(Response("/users/u/Files/a.txt", Length("12")) +
                                        Response("/users/u/Files/Docs/") + kFolder));
  ASSERT_EQ(listed.size(), 4u);
  EXPECT_EQ(listed[0].Name(), u".");
  EXPECT_EQ(listed[1].Name(), u"..");
  EXPECT_EQ(listed[2].Name(), u"a.txt");
  EXPECT_EQ(listed[3].Name(), u"Docs");
  for (const DirectoryEntry& entry : listed) {
    EXPECT_EQ(entry.kind, 9u);
    EXPECT_EQ(entry.attributes, 0u);
    EXPECT_EQ(entry.creation_time, kThatSecond);
    EXPECT_EQ(entry.last_access_time, kThatSecond);
    EXPECT_EQ(entry.last_write_time, kThatSecond);
    EXPECT_EQ(entry.change_time, kThatSecond);
  }
  EXPECT_EQ(listed[0].name_length, 0u);
  EXPECT_EQ(listed[1].name_length, 0u);
  EXPECT_EQ(listed[0].directory_flag, 1u);
  EXPECT_EQ(listed[1].directory_flag, 1u);
  EXPECT_EQ(listed[2].directory_flag, 0u);
  EXPECT_EQ(listed[2].name_length, 5u);
  EXPECT_EQ(listed[2].size, 12);
  EXPECT_EQ(listed[3].directory_flag, 1u);
  EXPECT_EQ(listed[3].size, 0);
}

TEST_F(MultistatusTest, DotsTakeTheTimesOfTheFirstResponse) {
  std::string first = Response("/users/u/Files/a.txt");
  first.replace(first.find("2026-11"), 7, "2020-02");
  const auto listed = Parse(Multistatus(first + kFolder));
  ASSERT_EQ(listed.size(), 3u);
  EXPECT_LT(listed[0].creation_time, kThatSecond);
  EXPECT_EQ(listed[0].creation_time, listed[2].creation_time);
  EXPECT_EQ(listed[1].creation_time, listed[2].creation_time);
  EXPECT_EQ(listed[0].last_write_time, kThatSecond);
}

TEST_F(MultistatusTest, AnEmptyFolderHasTheDotsOnly) {
  DirectoryEntry* entries = nullptr;
  ASSERT_TRUE(client().ParseMultistatus(FromAnsi(Multistatus(kFolder)), &entries));
  EXPECT_EQ(entries[0].Name(), u".");
  EXPECT_EQ(entries[0].last_entry, 0u);
  EXPECT_EQ(entries[1].Name(), u"..");
  EXPECT_EQ(entries[1].last_entry, 1u);
}

TEST_F(MultistatusTest, TheBufferHoldsAtLeast94Records) {
  DirectoryEntry* entries = nullptr;
  ASSERT_TRUE(client().ParseMultistatus(FromAnsi(Multistatus(kFolder)), &entries));
  const DirectoryEntry unused;
  for (size_t i = 2; i < 94; ++i) {
    ASSERT_EQ(std::memcmp(&entries[i], &unused, sizeof(unused)), 0) << i;
  }
}

TEST_F(MultistatusTest, AFilesPathIsNoListing) {
  ExpectRefused(Multistatus(Response("/users/u/Files/a.txt", Length("1"))), kNoFiles);
}

TEST_F(MultistatusTest, NoResponseIsNoListing) {
  ExpectRefused(Multistatus(""), kNoFiles);
  ExpectRefused("<other/>", kNoFiles);
}

TEST_F(MultistatusTest, ASecondListingReplacesTheFirst) {
  ASSERT_EQ(Parse(Multistatus(Response("/users/u/Files/one") + kFolder)).size(), 3u);
  const auto listed = Parse(Multistatus(Response("/users/u/Files/two") + kFolder));
  ASSERT_EQ(listed.size(), 3u);
  EXPECT_EQ(listed[2].Name(), u"two");
}

TEST_F(MultistatusTest, LongNamesAreCutButKeepTheirLength) {
  const std::string name(300, 'n');
  const auto listed = Parse(Multistatus(Response("/users/u/Files/" + name) + kFolder));
  ASSERT_EQ(listed.size(), 3u);
  EXPECT_EQ(listed[2].name_length, 300u);
  EXPECT_EQ(listed[2].Name(), Text(259, u'n'));
}

TEST_F(MultistatusTest, NamesAreDecoded) {
  const auto listed = Parse(Multistatus(
      Response("/users/u/Files/a%20b/") + Response("/users/u/Files/%c3%a9%20%26.txt") +
      Response("/users/u/Files/x&amp;y") + Response("/users/u/Files/sub/deep/leaf.txt") +
      Response("/users/u/Files/line%0d%0a") + kFolder));
  ASSERT_EQ(listed.size(), 7u);
  EXPECT_EQ(listed[2].Name(), u"a b");
  EXPECT_EQ(listed[2].directory_flag, 1u);
  EXPECT_EQ(listed[3].Name(), u"\u00E9 &.txt");
  EXPECT_EQ(listed[4].Name(), u"x&y");
  EXPECT_EQ(listed[5].Name(), u"leaf.txt");
  EXPECT_EQ(listed[6].Name(), u"line");
}

TEST_F(MultistatusTest, QuotaAndUsedComeFromTheLastResponse) {
  ASSERT_FALSE(
      Parse(Multistatus(Response("/users/u/Files/x/", Quota("7", "7")) + kFolder)).empty());
  int64_t quota = -1;
  int64_t used = -1;
  EXPECT_FALSE(client().GetUsedQuota(&quota, &used));
  EXPECT_EQ(quota, 100);
  EXPECT_EQ(used, 40);
  EXPECT_EQ(UsedSpaceMib(), 40u);
}

TEST_F(MultistatusTest, UsedBeyondTheQuotaIsCappedHereAndPublishedAsItIs) {
  ASSERT_FALSE(Parse(Multistatus(Response("/users/u/Files/", Quota("100", "140")))).empty());
  int64_t quota = -1;
  int64_t used = -1;
  EXPECT_FALSE(client().GetUsedQuota(&quota, &used));
  EXPECT_EQ(quota, 100);
  EXPECT_EQ(used, 100);
  EXPECT_EQ(UsedSpaceMib(), 140u);
}

TEST_F(MultistatusTest, AFailedParseLeavesTheQuota) {
  ASSERT_FALSE(Parse(Multistatus(kFolder)).empty());
  ExpectRefused("<broken", u"XML response load failed, Reason : " + GetLastErrorText());
  ExpectRefused(Multistatus(Response("/users/u/Files/f", Quota("1", "1"))), kNoFiles);
  int64_t quota = -1;
  int64_t used = -1;
  EXPECT_FALSE(client().GetUsedQuota(&quota, &used));
  EXPECT_EQ(quota, 100);
  EXPECT_EQ(used, 40);
}

TEST_F(MultistatusTest, TheStoredUsedQuotaGoesFirst) {
  ASSERT_FALSE(Parse(Multistatus(kFolder)).empty());
  home_.SetSetting(kConnectionSubKey, u"OLdUsedQuota", u"5000000000");
  int64_t quota = -1;
  int64_t used = -1;
  EXPECT_TRUE(client().GetUsedQuota(&quota, &used));
  EXPECT_EQ(quota, 100);
  EXPECT_EQ(used, 5'000'000'000);
}

TEST_F(MultistatusTest, BeforeAnyListingQuotaAndUsedAreZero) {
  int64_t quota = -1;
  int64_t used = -1;
  EXPECT_FALSE(client().GetUsedQuota(&quota, &used));
  EXPECT_EQ(quota, 0);
  EXPECT_EQ(used, 0);
}

TEST_F(MultistatusTest, OtherPrefixesAreNotRead) {
  const auto listed = Parse(
      "<D:multistatus xmlns:D=\"DAV:\" xmlns:lp1=\"DAV:\"><D:response><D:href>/users/u/Files/f"
      "</D:href><D:propstat><D:prop><lp1:getcontentlength>5</lp1:getcontentlength>"
      "<lp1:getlastmodified>Sun, 15 Nov 2026 14:03:09 GMT</lp1:getlastmodified></D:prop>"
      "</D:propstat></D:response>" +
      kFolder + "</D:multistatus>");
  ASSERT_EQ(listed.size(), 3u);
  EXPECT_EQ(listed[2].size, 0);
  EXPECT_EQ(listed[2].last_write_time, 0);
  ExpectRefused("<d:multistatus xmlns:d=\"DAV:\"><d:response/></d:multistatus>", kNoFiles);
}

TEST_F(MultistatusTest, TheFirstPropstatThatHasAPropertyCounts) {
  const auto listed = Parse(Multistatus(
      "<D:response xmlns:lp0=\"DAV:\"><D:href>/users/u/Files/f</D:href><D:propstat><D:prop/>"
      "</D:propstat><D:propstat><D:prop>" +
      Length("7") + Length("8") + "</D:prop></D:propstat></D:response>" + kFolder));
  ASSERT_EQ(listed.size(), 3u);
  EXPECT_EQ(listed[2].size, 7);
}

TEST_F(MultistatusTest, SizesAreSixtyFourBitsAndNeverNegative) {
  const auto listed = Parse(Multistatus(
      Response("/users/u/Files/a", Length("5000000000")) +
      Response("/users/u/Files/b", Length("99999999999999999999999")) +
      Response("/users/u/Files/c", Length("-5")) + Response("/users/u/Files/d", Length("x")) +
      Response("/users/u/Files/e/", Length("4096")) + kFolder));
  ASSERT_EQ(listed.size(), 7u);
  EXPECT_EQ(listed[2].size, 5'000'000'000);
  EXPECT_EQ(listed[3].size, INT64_MAX);
  EXPECT_EQ(listed[4].size, 0);
  EXPECT_EQ(listed[5].size, 0);
  EXPECT_EQ(listed[6].size, 0);
}

TEST_F(MultistatusTest, MissingAndShortHrefsAreEmptyNames) {
  const auto listed = Parse(Multistatus("<D:response/>" + Response("") + Response("/") +
                                        Response("/users/u/Files") + Response("%") + kFolder));
  ASSERT_EQ(listed.size(), 7u);
  for (size_t i = 2; i < listed.size(); ++i) {
    EXPECT_EQ(listed[i].Name(), u"");
    EXPECT_EQ(listed[i].name_length, 0u);
    EXPECT_EQ(listed[i].directory_flag, 0u);
  }
  EXPECT_EQ(listed[2].last_write_time, 0);
}

TEST_F(MultistatusTest, MalformedDatesAreZero) {
  std::string response = Response("/users/u/Files/f");
  response.replace(response.find("Nov"), 3, "Foo");
  response.replace(response.find("2026-11"), 7, "2026-77");
  const auto listed = Parse(Multistatus(response + kFolder));
  ASSERT_EQ(listed.size(), 3u);
  EXPECT_EQ(listed[2].creation_time, 0);
  EXPECT_EQ(listed[2].last_write_time, 0);
}

TEST_F(MultistatusTest, WhatIsNoXmlIsRefused) {
  const std::string whole = Multistatus(Response("/users/u/Files/f") + kFolder);
  for (const std::string& reply :
       {std::string(), std::string("garbage"), std::string("<html><p>No"),
        whole.substr(0, whole.size() / 2), whole + whole, std::string(1000, '\xFF'),
        std::string(1000, '\0')}) {
    EXPECT_TRUE(Parse(reply).empty());
  }
}

TEST_F(MultistatusTest, EveryCutOfAReplyIsRefused) {
  const std::string whole = Multistatus(Response("/users/u/Files/f") + kFolder);
  // Without the line end, and without the root element's end, nothing of it counts.
  for (size_t length = 0; length + 2 < whole.size(); length += 7) {
    EXPECT_TRUE(Parse(std::string_view(whole).substr(0, length)).empty()) << length;
  }
}

TEST_F(MultistatusTest, EntitiesOfADoctypeAreRefused) {
  EXPECT_TRUE(Parse("<!DOCTYPE x [<!ENTITY a \"aaaa\"><!ENTITY b \"&a;&a;&a;\">]>" +
                    Multistatus(Response("/users/u/Files/&b;/")).substr(39))
                  .empty());
}

TEST_F(MultistatusTest, ThousandsOfResponsesKeepTheirOrder) {
  constexpr size_t kCount = 5000;
  std::string responses;
  for (size_t i = 0; i < kCount; ++i) {
    responses += Response("/users/u/Files/f" + std::to_string(i), Length(std::to_string(i)));
  }
  const auto listed = Parse(Multistatus(responses + kFolder));
  ASSERT_EQ(listed.size(), kCount + 2);
  for (size_t i = 0; i < kCount; ++i) {
    ASSERT_EQ(listed[i + 2].Name(), FromUtf8("f" + std::to_string(i)));
    ASSERT_EQ(listed[i + 2].size, static_cast<int64_t>(i));
  }
}

}  // namespace
}  // namespace zv::testing
