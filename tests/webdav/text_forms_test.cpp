// What the client makes of single texts: paths, hrefs, dates.
#include <gtest/gtest.h>

#include "tests/webdav/replies.h"
#include "webdav/dates.h"
#include "webdav/href.h"
#include "webdav/url.h"

namespace zv::testing {
namespace {

TEST(PathTest, KeepsLettersDigitsAndSlashesOnly) {
  EXPECT_EQ(PercentEncodePath(u"/Docs/AZaz09"), u"/Docs/AZaz09");
  EXPECT_EQ(PercentEncodePath(u"/a b.txt"), u"/a%20b%2Etxt");
  EXPECT_EQ(PercentEncodePath(u"-_~.%?#&+"), u"%2D%5F%7E%2E%25%3F%23%26%2B");
  EXPECT_EQ(PercentEncodePath(u"@[`{:"), u"%40%5B%60%7B%3A");
  EXPECT_EQ(PercentEncodePath(u""), u"");
}

TEST(PathTest, BackslashesAreSlashes) {
  EXPECT_EQ(PercentEncodePath(u"\\Docs\\a b.txt"), u"/Docs/a%20b%2Etxt");
}

TEST(PathTest, EncodesTheUtf8Form) {
  EXPECT_EQ(PercentEncodePath(u"/\u00E9"), u"/%C3%A9");
  EXPECT_EQ(PercentEncodePath(u"/\u20AC"), u"/%E2%82%AC");
  EXPECT_EQ(PercentEncodePath(u"/\U0001F600"), u"/%F0%9F%98%80");
}

TEST(HrefTest, UndoesThePercentEncoding) {
  EXPECT_EQ(DecodeHref(u"/users/u/Files/a%20b/"), u"/users/u/Files/a b/");
  EXPECT_EQ(DecodeHref(u"/%c3%a9%C3%A9"), u"/\u00E9\u00E9");
  EXPECT_EQ(DecodeHref(u"%F0%9F%98%80"), u"\U0001F600");
  EXPECT_EQ(DecodeHref(u"a+b"), u"a+b");
  EXPECT_EQ(DecodeHref(u""), u"");
}

TEST(HrefTest, WhatIsNoEscapeStays) {
  EXPECT_EQ(DecodeHref(u"100%"), u"100%");
  EXPECT_EQ(DecodeHref(u"%4"), u"%4");
  EXPECT_EQ(DecodeHref(u"%4g%zz%%41"), u"%4g%zz%A");
}

TEST(HrefTest, BytesThatAreNoUtf8AreReplaced) {
  EXPECT_EQ(DecodeHref(u"a%FFb"), u"a\uFFFDb");
  EXPECT_EQ(DecodeHref(u"%C3"), u"\uFFFD");
}

TEST(HrefTest, EndsAtAZeroByte) { EXPECT_EQ(DecodeHref(u"/a%00b"), u"/a"); }

TEST(HrefTest, Utf8ThatCameUnescapedIsUnderstood) {
  EXPECT_EQ(DecodeHref(FromAnsi("/caf\xC3\xA9")), u"/caf\u00E9");
  // What the 8-bit page cannot hold was a character reference.
  EXPECT_EQ(DecodeHref(u"/\u4E2D\u6587"), u"/\u4E2D\u6587");
}

TEST(DateTest, ReadsCreationDates) {
  EXPECT_EQ(ParseCreationDate(u"2026-11-15T14:03:09Z").value, kThatSecond);
  EXPECT_EQ(ParseCreationDate(u"2026-11-15T14:03:09.999+05:00").value, kThatSecond);
  EXPECT_EQ(ParseCreationDate(u"1601-01-01T00:00:00Z").value, 0);
  EXPECT_EQ(ParseCreationDate(u"1970-01-01T00:00:00Z").value, kUnixEpochSeconds1601);
  EXPECT_EQ(ParseCreationDate(u"2024-02-29T23:59:59Z").value, 13353724799);
}

TEST(DateTest, ReadsLastModifiedTimes) {
  EXPECT_EQ(ParseLastModified(u"Sun, 15 Nov 2026 14:03:09 GMT").value, kThatSecond);
  EXPECT_EQ(ParseLastModified(u"Thu, 01 Jan 1970 00:00:00 GMT").value, kUnixEpochSeconds1601);
}

TEST(DateTest, KnowsTheTwelveMonths) {
  constexpr TextView kMonths[] = {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun",
                                  u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"};
  for (int month = 1; month <= 12; ++month) {
    const Text rfc = Format(u"Xxx, 07 %s 2025 01:02:03 GMT", Text(kMonths[month - 1]));
    const Text iso = Format(u"2025-%02d-07T01:02:03Z", month);
    EXPECT_NE(ParseLastModified(rfc).value, 0);
    EXPECT_EQ(ParseLastModified(rfc), ParseCreationDate(iso));
  }
}

TEST(DateTest, WhatIsNoDateIsZero) {
  for (const TextView text :
       {u"", u"garbage", u"2026", u"2026-13-15T14:03:09Z", u"2026-00-01T00:00:00Z",
        u"2026-02-30T00:00:00Z", u"2023-02-29T00:00:00Z", u"2026-11-15T24:03:09Z",
        u"2026-11-15T14:60:09Z", u"2026-11-15T14:03:60Z", u"1600-12-31T23:59:59Z",
        u"-026-11-15T14:03:09Z", u"2026-11-15T14:03"}) {
    EXPECT_EQ(ParseCreationDate(text).value, 0) << ToUtf8(text);
  }
  for (const TextView text :
       {u"", u"Sun", u"Sun, 15 Nov", u"Sun, 15 Nov 2026 14:03", u"Sun, 15 Foo 2026 14:03:09 GMT",
        u"Sun, 31 Nov 2026 14:03:09 GMT", u"Sunday, 15-Nov-26 14:03:09 GMT",
        u"Sun, 15 Nov 1500 14:03:09 GMT"}) {
    EXPECT_EQ(ParseLastModified(text).value, 0) << ToUtf8(text);
  }
}

TEST(DirectoryEntryTest, CutsAndTerminatesItsName) {
  DirectoryEntry entry;
  entry.SetName(Text(300, u'n'));
  EXPECT_EQ(entry.name_length, 300u);
  EXPECT_EQ(entry.Name(), Text(259, u'n'));
  EXPECT_EQ(entry.name[259], u'\0');
  entry.SetName(u"ab");
  EXPECT_EQ(entry.name_length, 2u);
  EXPECT_EQ(entry.Name(), u"ab");
}

TEST(DirectoryEntryTest, ANameWithoutATerminatorEndsWithItsField) {
  DirectoryEntry entry;
  for (char16_t& unit : entry.name) unit = u'x';
  EXPECT_EQ(entry.Name(), Text(259, u'x'));
}

}  // namespace
}  // namespace zv::testing
