#include "platform/text.h"

#include <gtest/gtest.h>

namespace zv {
namespace {

TEST(Utf8, EncodesEveryLength) {
  EXPECT_EQ(ToUtf8(u"a\u00E9\u20AC\U0001F600"), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Utf8, EncodesTheEdgesOfEachLength) {
  EXPECT_EQ(ToUtf8(u"\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(Utf8, ReplacesUnpairedSurrogates) {
  const char16_t units[] = {0xD800, u'a', 0xDC00, 0xD83D};
  EXPECT_EQ(ToUtf8(TextView(units, 4)),
            "\xEF\xBF\xBD"
            "a"
            "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Utf8, KeepsZeros) {
  EXPECT_EQ(ToUtf8(TextView(u"a\0b", 3)), std::string("a\0b", 3));
  EXPECT_EQ(FromUtf8(std::string_view("a\0b", 3)), Text(u"a\0b", 3));
}

TEST(Utf8, DecodesEveryLength) {
  EXPECT_EQ(FromUtf8("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), u"a\u00E9\u20AC\U0001F600");
}

TEST(Utf8, ReplacesOverlongForms) {
  EXPECT_EQ(FromUtf8("\xC0\xAF"), u"\uFFFD\uFFFD");
  EXPECT_EQ(FromUtf8("\xE0\x80\xAF"), u"\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(FromUtf8("\xF0\x80\x80\xAF"), u"\uFFFD\uFFFD\uFFFD\uFFFD");
}

TEST(Utf8, ReplacesEncodedSurrogatesAndTooLargePoints) {
  EXPECT_EQ(FromUtf8("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(FromUtf8("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(FromUtf8("\xFF"), u"\uFFFD");
}

TEST(Utf8, ReplacesACutSequenceByteByByte) {
  EXPECT_EQ(FromUtf8("x\xE2\x82"), u"x\uFFFD\uFFFD");
  EXPECT_EQ(FromUtf8("\xE2\x82y"), u"\uFFFD\uFFFDy");
}

TEST(Ansi, GoesThroughWindows1252) {
  EXPECT_EQ(ToAnsi(u"\u20AC\u00E9\u2019\u0178z"), "\x80\xE9\x92\x9Fz");
  EXPECT_EQ(FromAnsi("\x80\xE9\x92\x9Fz"), u"\u20AC\u00E9\u2019\u0178z");
}

TEST(Ansi, RoundTripsEveryByte) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  EXPECT_EQ(ToAnsi(FromAnsi(all)), all);
}

TEST(Ansi, PutsAQuestionMarkForWhatThePageLacks) { EXPECT_EQ(ToAnsi(u"a\u4E2Db"), "a?b"); }

TEST(Ansi, OfNothingIsNothing) {
  EXPECT_EQ(ToAnsi(u""), "");
  EXPECT_EQ(FromAnsi(""), u"");
}

TEST(Case, LowersLettersOfManyScripts) {
  EXPECT_EQ(ToLower(TextView(u"ABZ\u00C4\u00DE\u0130\u0178\u0394\u0416\u0531\u1E00\u24B6\uFF21")),
            u"abz\u00E4\u00FE\u0130\u00FF\u03B4\u0436\u0561\u1E01\u24D0\uFF41");
}

TEST(Case, LeavesEverythingElseAlone) {
  const Text text = u"@[`{19\u00D7\u00DF\u00F7\u4E2D\U0001F600";
  EXPECT_EQ(ToLower(text), text);
}

TEST(Case, PairsNoSignsWithLetters) {
  EXPECT_EQ(ToLower(u'\u212A'), u'\u212A');  // Kelvin
  EXPECT_EQ(ToLower(u'\u2126'), u'\u2126');  // Ohm
}

TEST(Case, ComparesBlind) {
  EXPECT_EQ(CompareNoCase(u"File.TXT", u"fILE.txt"), 0);
  EXPECT_LT(CompareNoCase(u"a", u"B"), 0);
  EXPECT_GT(CompareNoCase(u"b", u"A"), 0);
  EXPECT_LT(CompareNoCase(u"ab", u"ABC"), 0);
  EXPECT_GT(CompareNoCase(u"abc", u""), 0);
  EXPECT_TRUE(EqualsNoCase(u"\u00C9t\u00E9", u"\u00E9T\u00C9"));
  EXPECT_FALSE(EqualsNoCase(u"abc", u"abcd"));
}

TEST(TextTools, ReplaceAllTurnsEveryUnit) {
  EXPECT_EQ(ReplaceAll(u"\\a\\b\\", u'\\', u'/'), u"/a/b/");
  EXPECT_EQ(ReplaceAll(u"", u'a', u'b'), u"");
}

TEST(TextTools, TrimTakesWhiteSpaceAtBothEndsOnly) {
  EXPECT_EQ(Trim(u" \t\n\v\f\r a b \r\n"), u"a b");
  EXPECT_EQ(Trim(u" \t "), u"");
  EXPECT_EQ(Trim(u"\u00A0x"), u"\u00A0x");
}

TEST(ParseInt, SkipsWhiteSpaceAndTakesOneSign) {
  EXPECT_EQ(ParseInt32(u" \t\r\n-12"), -12);
  EXPECT_EQ(ParseInt32(u"+7"), 7);
  EXPECT_EQ(ParseInt32(u"--7"), 0);
  EXPECT_EQ(ParseInt32(u"- 7"), 0);
}

TEST(ParseInt, StopsAtTheFirstNonDigit) {
  EXPECT_EQ(ParseInt64(u"123\r"), 123);
  EXPECT_EQ(ParseInt64(u"12.9"), 12);
  EXPECT_EQ(ParseInt64(u"0x10"), 0);
}

TEST(ParseInt, GivesZeroWithoutDigits) {
  EXPECT_EQ(ParseInt32(u""), 0);
  EXPECT_EQ(ParseInt32(u"-"), 0);
  EXPECT_EQ(ParseInt64(u"abc"), 0);
}

TEST(ParseInt, GivesTheNearestLimit) {
  EXPECT_EQ(ParseInt32(u"2147483647"), INT32_MAX);
  EXPECT_EQ(ParseInt32(u"2147483648"), INT32_MAX);
  EXPECT_EQ(ParseInt32(u"-2147483648"), INT32_MIN);
  EXPECT_EQ(ParseInt32(u"-2147483649"), INT32_MIN);
  EXPECT_EQ(ParseInt64(u"9223372036854775807"), INT64_MAX);
  EXPECT_EQ(ParseInt64(u"9223372036854775808"), INT64_MAX);
  EXPECT_EQ(ParseInt64(u"-9223372036854775808"), INT64_MIN);
  EXPECT_EQ(ParseInt64(u"-99999999999999999999999"), INT64_MIN);
}

TEST(Utf16Bytes, AreLittleEndian) {
  EXPECT_EQ(ToUtf16LeBytes(u"A\u20AC"), std::string("A\0\xAC\x20", 4));
  EXPECT_EQ(FromUtf16LeBytes(std::string_view("A\0\xAC\x20", 4)), u"A\u20AC");
}

TEST(Utf16Bytes, IgnoreAnOddLastByte) {
  EXPECT_EQ(FromUtf16LeBytes(std::string_view("A\0B", 3)), u"A");
  EXPECT_EQ(FromUtf16LeBytes(std::string_view("A", 1)), u"");
}

}  // namespace
}  // namespace zv
