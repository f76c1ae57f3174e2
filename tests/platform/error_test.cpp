#include "platform/error.h"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/thread.h"

namespace zv {
namespace {

TEST(LastErrorCode, BelongsToItsThread) {
  // No call of the system between setting and asking, since it may set the code, too.
  std::atomic<int> step = 0;
  Thread other = Thread::Start([&step] {
    SetLastError(7);
    step = 1;
    while (step != 2) {
    }
    return LastError();
  });
  while (step != 1) {
  }
  SetLastError(5);
  step = 2;
  EXPECT_EQ(LastError(), 5u);
  EXPECT_EQ(other.Join(), 7u);
}

TEST(SystemErrorText, HasTextsWithoutALineEnd) {
  for (const uint32_t code : {kErrorFileNotFound, kErrorAlreadyExists, kErrorDiskFull}) {
    const Text text = SystemErrorText(code);
    ASSERT_FALSE(text.empty()) << code;
    EXPECT_EQ(text.find_first_of(u"\r\n"), Text::npos);
  }
  EXPECT_NE(SystemErrorText(kErrorFileNotFound), SystemErrorText(kErrorDiskFull));
}

TEST(SystemErrorText, IsEmptyForUnknownCodes) { EXPECT_EQ(SystemErrorText(0x1234'5678), u""); }

TEST(GetLastErrorText, IsTheSystemsText) {
  SetLastError(kErrorFileNotFound);
  EXPECT_EQ(GetLastErrorText(), SystemErrorText(kErrorFileNotFound));
}

TEST(GetLastErrorText, SaysWhenTheSystemHasNone) {
  SetLastError(0x1234'5678);
  EXPECT_EQ(GetLastErrorText(), u"An unknown error has occurred.");
}

TEST(GetLastErrorText, KnowsNoInternetCodes) {
  SetLastError(12029);
  EXPECT_EQ(GetLastErrorText(), u"An unknown error has occurred.");
}

TEST(ThrowLastError, CarriesKindCodeAndText) {
  SetLastError(kErrorDiskFull);
  try {
    ThrowLastError(ErrorKind::kFile);
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kFile);
    EXPECT_EQ(error.code(), kErrorDiskFull);
    EXPECT_EQ(error.text(), SystemErrorText(kErrorDiskFull));
    EXPECT_EQ(error.what(), ToUtf8(error.text()));
  }
}

TEST(ThrowLastError, HasATextForUnknownCodes) {
  SetLastError(0x1234'5678);
  try {
    ThrowLastError(ErrorKind::kOther);
  } catch (const Error& error) {
    EXPECT_EQ(error.text(), kUnknownErrorText);
  }
}

}  // namespace
}  // namespace zv
