#include "platform/format.h"

#include <gtest/gtest.h>

namespace zv {
namespace {

enum class Colour : uint32_t { kRed = 7 };

TEST(Format, CopiesPlainText) { EXPECT_EQ(Format(u"a\tb\n"), u"a\tb\n"); }

TEST(Format, TakesPercentSignsInPairs) { EXPECT_EQ(Format(u"100%% of %d%%", 5), u"100% of 5%"); }

TEST(Format, LongIs32BitsWide) {
  EXPECT_EQ(Format(u"%ld", 0xFFFFFFFFu), u"-1");
  EXPECT_EQ(Format(u"%ld", int64_t{0x1'0000'0005}), u"5");
  EXPECT_EQ(Format(u"%lu", -1), u"4294967295");
  EXPECT_EQ(Format(u"%d", int64_t{0x8000'0000}), u"-2147483648");
  EXPECT_EQ(Format(u"%u", 0x8000'0000u), u"2147483648");
}

TEST(Format, LongLongIs64BitsWide) {
  EXPECT_EQ(Format(u"%I64d", INT64_MIN), u"-9223372036854775808");
  EXPECT_EQ(Format(u"%I64d", INT64_MAX), u"9223372036854775807");
  EXPECT_EQ(Format(u"%I64u", UINT64_MAX), u"18446744073709551615");
  EXPECT_EQ(Format(u"%lld", int64_t{-1}), u"-1");
  EXPECT_EQ(Format(u"%llX", int64_t{-1}), u"FFFFFFFFFFFFFFFF");
}

TEST(Format, WritesHexadecimal) {
  EXPECT_EQ(Format(u"%x %X %02X %lx", 0xBEEF, 0xBEEF, 0xA, 0xFFFF'FFFFu), u"beef BEEF 0A ffffffff");
  EXPECT_EQ(Format(u"%X", -1), u"FFFFFFFF");
}

TEST(Format, PadsNumbers) {
  EXPECT_EQ(Format(u"%02d/%02d/%04d", 1, 23, 45), u"01/23/0045");
  EXPECT_EQ(Format(u"%02d", -1), u"-1");
  EXPECT_EQ(Format(u"%04d", -1), u"-001");
  EXPECT_EQ(Format(u"[%5d][%-5d][%+d][% d]", 42, 42, 42, 42), u"[   42][42   ][+42][ 42]");
  EXPECT_EQ(Format(u"[%-05d]", 42), u"[42   ]");
}

TEST(Format, ReadsPrecisionOfNumbersAsDigits) {
  EXPECT_EQ(Format(u"[%.3d][%5.3d][%05.3d]", 7, 7, 7), u"[007][  007][  007]");
  EXPECT_EQ(Format(u"[%.0d][%.d]", 0, 0), u"[][]");
}

TEST(Format, WritesTexts) {
  EXPECT_EQ(Format(u"%s|%ls", u"one", Text(u"two")), u"one|two");
  EXPECT_EQ(Format(u"%-11ls : %s : ", u"Error", u"now"), u"Error       : now : ");
  EXPECT_EQ(Format(u"[%5s][%.2s][%-4.1s]", u"abc", u"abc", u"abc"), u"[  abc][ab][a   ]");
  EXPECT_EQ(Format(u"%s", TextView(u"a\0b", 3)), Text(u"a\0b", 3));
}

TEST(Format, NeverReadsArgumentsAsFormats) { EXPECT_EQ(Format(u"%s", u"%d%s%%"), u"%d%s%%"); }

TEST(Format, WritesANullTextAsNothing) {
  const char16_t* nothing = nullptr;
  EXPECT_EQ(Format(u"[%s]", nothing), u"[]");
}

TEST(Format, WritesUnits) {
  EXPECT_EQ(Format(u"%s%c%d%c", u"a", u'?', 1, 63), u"a?1?");
  EXPECT_EQ(Format(u"[%3c][%-3c]", u'x', u'y'), u"[  x][y  ]");
  EXPECT_EQ(Format(u"%c", u'\u20AC'), u"\u20AC");
}

TEST(Format, TakesEnumerationsAndBooleans) {
  EXPECT_EQ(Format(u"%d %d", Colour::kRed, true), u"7 1");
}

TEST(Format, WritesFloatingPoint) {
  EXPECT_EQ(Format(u"%f %.2f %.0f", 1.5, 2.345, 2.5), u"1.500000 2.35 2");
  EXPECT_EQ(Format(u"%g %g %g", 0.5, 1e10, 100000.0), u"0.5 1e+10 100000");
  EXPECT_EQ(Format(u"[%8.2f][%-8.2f][%08.2f][%+.1f]", -1.5, 1.5, -1.5, 1.0),
            u"[   -1.50][1.50    ][-0001.50][+1.0]");
  EXPECT_EQ(Format(u"%.1f", 1e300).size(), 303u);
}

TEST(Format, WritesAnEntryRecord) {
  EXPECT_EQ(
      Format(u"%s%c%d%c%I64d%c%ld%c%I64d%c%I64d\r\n", u"a.txt", u'?', 0, u'?', int64_t{5} << 32,
             u'?', 32, u'?', int64_t{13000000000}, u'?', int64_t{13000000001}),
      u"a.txt?0?21474836480?32?13000000000?13000000001\r\n");
}

TEST(Format, CopiesWhatItDoesNotKnow) {
  EXPECT_EQ(Format(u"%q %5y %", 1), u"%q %5y %");
  EXPECT_EQ(Format(u"%hd", 1), u"%hd");
  EXPECT_EQ(Format(u"%-3", 1), u"%-3");
  EXPECT_EQ(Format(u"%p%d", 1), u"%p1");
}

TEST(Format, WritesMissingAndWrongArgumentsAsNothing) {
  EXPECT_EQ(Format(u"[%d]"), u"[]");
  EXPECT_EQ(Format(u"[%s][%d]", u"a"), u"[a][]");
  EXPECT_EQ(Format(u"[%s][%d][%f][%5d]", 1, u"a", 1, 2.0), u"[][][][]");
}

TEST(Format, IgnoresArgumentsTooMany) { EXPECT_EQ(Format(u"%d", 1, 2, u"x"), u"1"); }

}  // namespace
}  // namespace zv
