// The 8-bit texts of a process whose manifest makes UTF-8 its code page.
#include <gtest/gtest.h>
#include <windows.h>

#include "platform/text.h"

namespace zv {
namespace {

TEST(Utf8Process, HasEveryCharacterInItsCodePage) {
  ASSERT_EQ(::GetACP(), static_cast<UINT>(CP_UTF8));
  EXPECT_EQ(ToAnsi(u"a\u00FC\u4E2D"), "a\xC3\xBC\xE4\xB8\xAD");
  EXPECT_EQ(FromAnsi("a\xC3\xBC\xE4\xB8\xAD"), u"a\u00FC\u4E2D");
}

}  // namespace
}  // namespace zv
