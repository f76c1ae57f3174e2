#include "apps/zvdrive/output_text.h"

#include <gtest/gtest.h>

namespace zv::testing {
namespace {

TEST(OutputTextTest, PrintableTextsShowAQuestionMarkForEachControlCharacter) {
  EXPECT_EQ(PrintableText(""), "");
  EXPECT_EQ(PrintableText("a b~"), "a b~");
  EXPECT_EQ(PrintableText("\x1b]0;x\x07\n\x7f"), "?]0;x???");
  EXPECT_EQ(PrintableText("\xc2\x9b"
                          "2J\xc2\x80\xc2\x9f"),
            "?2J??");
  EXPECT_EQ(PrintableText("\xc2\xa0\xc3\xa4\xc2"), "\xc2\xa0\xc3\xa4\xc2");
}

TEST(OutputTextTest, JsonTextsEscapeWhatTheyMust) {
  EXPECT_EQ(JsonText(""), "\"\"");
  EXPECT_EQ(JsonText("a\\b\"c"), "\"a\\\\b\\\"c\"");
  EXPECT_EQ(JsonText("a\nb\x01"), "\"a\\u000ab\\u0001\"");
  EXPECT_EQ(JsonText("\xc3\xa4/"), "\"\xc3\xa4/\"");
}

}  // namespace
}  // namespace zv::testing
