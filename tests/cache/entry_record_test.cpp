#include "cache/entry_record.h"

#include <gtest/gtest.h>

namespace zv {
namespace {

constexpr EntryFields kBig = {.name = u"a b.txt",
                              .directory_flag = 0,
                              .size = 5'000'000'000,
                              .attributes = 32,
                              .creation_time = 12'777'135'389,
                              .change_time = 13'000'000'001};

TEST(EntryRecord, OfAListingHoldsTheWholeSize) {
  EXPECT_EQ(FormatRecord(RecordFormat::kListing, kBig),
            u"a b.txt?0?5000000000?32?12777135389?13000000001\r\n");
}

TEST(EntryRecord, OfAnAppendedEntryHoldsTheWholeSize) {
  EXPECT_EQ(FormatRecord(RecordFormat::kAppended, kBig),
            u"a b.txt?0?5000000000?32?12777135389?13000000001\r\n");
}

TEST(EntryRecord, OfAnEntryMadeHereHoldsTheLow32BitsOfTheSize) {
  EXPECT_EQ(FormatRecord(RecordFormat::kShortSize, kBig),
            u"a b.txt?0?705032704?32?12777135389?13000000001\r\n");
  EXPECT_EQ(FormatRecord(RecordFormat::kShortSize, {.name = u"x", .size = 0xFFFFFFFF}),
            u"x?0?-1?0?0?0\r\n");
}

TEST(EntryRecord, GoldenBytes) {
  const std::string bytes = ToUtf16LeBytes(
      FormatRecord(RecordFormat::kListing, {.name = u"\u00E4", .directory_flag = 1}));
  EXPECT_EQ(bytes, std::string("\xE4\0?\0"
                               "1\0?\0"
                               "0\0?\0"
                               "0\0?\0"
                               "0\0?\0"
                               "0\0\r\0\n\0",
                               26));
}

TEST(EntryRecord, ParsesIntoAListedEntry) {
  DirectoryEntry entry;
  ASSERT_TRUE(ParseRecord(u"Docs?1?0?16?12777135389?13000000001\r", &entry));
  EXPECT_EQ(entry.Name(), u"Docs");
  EXPECT_EQ(entry.name_length, 4U);
  EXPECT_EQ(entry.directory_flag, 1U);
  EXPECT_EQ(entry.attributes, 16U);
  EXPECT_EQ(entry.kind, 9U);
  EXPECT_EQ(entry.last_entry, 0U);
  EXPECT_EQ(entry.creation_time, 12'777'135'389);
  EXPECT_EQ(entry.last_access_time, 13'000'000'001);
  EXPECT_EQ(entry.last_write_time, 13'000'000'001);
  EXPECT_EQ(entry.change_time, 13'000'000'001);
}

TEST(EntryRecord, NumbersMayHaveBlanksAndSignsAndEndAtTheFirstNonDigit) {
  DirectoryEntry entry;
  ASSERT_TRUE(ParseRecord(u"n? +1?  -12x?3?\t4 5?6\r", &entry));
  EXPECT_EQ(entry.directory_flag, 1U);
  EXPECT_EQ(entry.size, -12);
  EXPECT_EQ(entry.attributes, 3U);
  EXPECT_EQ(entry.creation_time, 4);
  EXPECT_EQ(entry.change_time, 6);
}

TEST(EntryRecord, MissingFieldsReadAsZero) {
  DirectoryEntry entry;
  ASSERT_TRUE(ParseRecord(u"n?1", &entry));
  EXPECT_EQ(entry.directory_flag, 1U);
  EXPECT_EQ(entry.size, 0);
  EXPECT_EQ(entry.change_time, 0);
}

TEST(EntryRecord, ALineWithoutASeparatorIsNone) {
  DirectoryEntry entry;
  TextView name;
  EXPECT_FALSE(ParseRecord(u"just text\r", &entry));
  EXPECT_FALSE(RecordName(u"just text\r", &name));
}

TEST(EntryRecord, KeepsAtMost259UnitsOfTheNameButItsWholeLength) {
  DirectoryEntry entry;
  ASSERT_TRUE(ParseRecord(Text(300, u'n') + u"?0?0?0?0?0", &entry));
  EXPECT_EQ(entry.Name(), Text(259, u'n'));
  EXPECT_EQ(entry.name_length, 300U);
}

TEST(EntryRecord, ANameWithTheSeparatorSplitsTheFields) {
  DirectoryEntry entry;
  ASSERT_TRUE(ParseRecord(u"a?b?0?5?0?1?2", &entry));
  EXPECT_EQ(entry.Name(), u"a");
  EXPECT_EQ(entry.size, 0);
  EXPECT_EQ(entry.attributes, 5U);
}

TEST(EntryRecord, WhatWasFormattedIsCanonical) {
  for (const RecordFormat format :
       {RecordFormat::kListing, RecordFormat::kAppended, RecordFormat::kShortSize}) {
    Text line = FormatRecord(format, kBig);
    line.pop_back();
    EXPECT_TRUE(IsCanonicalRecord(line)) << ToUtf8(line);
  }
}

TEST(EntryRecord, WhatWouldBeWrittenDifferentlyIsNotCanonical) {
  for (const TextView line :
       {u"n?0?0?0?0?0", u"n?0?0?0?0\r", u"n?00?0?0?0?0\r", u"n?0?-0?0?0?0\r", u"n?0? 1?0?0?0\r",
        u"n?0?+1?0?0?0\r", u"n?0??0?0?0\r", u"n?0?1?0?0?0?0\r", u"n?4294967296?0?0?0?0\r"}) {
    EXPECT_FALSE(IsCanonicalRecord(line)) << ToUtf8(line);
  }
  EXPECT_FALSE(IsCanonicalRecord(Text(260, u'n') + u"?0?0?0?0?0\r"));
}

TEST(RootLines, AreCutAtTheCountOfTheirUnits) {
  const std::string bytes = RootLineBytes();
  ASSERT_EQ(bytes.size(), 67U);
  EXPECT_EQ(bytes, ToUtf16LeBytes(u".?1?0?0?12777135389?12777135389\r\n") + ".");
}

TEST(RootLines, ReadAsTheFirstLineOnly) {
  const Text text = FromUtf16LeBytes(RootLineBytes());
  RecordLines lines(text);
  TextView line;
  ASSERT_TRUE(lines.Next(&line));
  EXPECT_EQ(line, u".?1?0?0?12777135389?12777135389\r");
  EXPECT_FALSE(lines.Next(&line));
}

std::vector<Text> LinesOf(TextView text) {
  std::vector<Text> all;
  TextView line;
  for (RecordLines lines(text); lines.Next(&line);) all.emplace_back(line);
  return all;
}

TEST(RecordLines, AreSplitAtLineFeedsAndKeepTheCarriageReturn) {
  EXPECT_EQ(LinesOf(u"a\r\nb\nc"), (std::vector<Text>{u"a\r", u"b", u"c"}));
}

TEST(RecordLines, EndAtTheFirstEmptyLine) {
  EXPECT_EQ(LinesOf(u"a\n\nb\n"), (std::vector<Text>{u"a"}));
  EXPECT_EQ(LinesOf(u"\na\n"), (std::vector<Text>{}));
}

TEST(RecordLines, ALineOfACarriageReturnAloneIsNotEmpty) {
  EXPECT_EQ(LinesOf(u"a\r\n\r\nb\r\n"), (std::vector<Text>{u"a\r", u"\r", u"b\r"}));
}

// Letters of India with the line feed's byte in either half, or in both.
TEST(RecordLines, AByteThatIsHalfAUnitEndsNone) {
  EXPECT_EQ(LinesOf(u"\u0A05\u0A0A?1\r\n\u090A\u0A0A\n"),
            (std::vector<Text>{u"\u0A05\u0A0A?1\r", u"\u090A\u0A0A"}));
}

}  // namespace
}  // namespace zv
