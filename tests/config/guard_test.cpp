#include "config/guard.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>

namespace zv {
namespace {

using Kind = Failure::Kind;

Failure Caught(const std::function<void()>& body) {
  Failure caught;
  Guarded(
      false,
      [&] {
        body();
        return true;
      },
      [&](const Failure& failure) { caught = failure; });
  return caught;
}

TEST(Guard, GivesTheBodysResult) {
  bool failed = false;
  EXPECT_EQ(Guarded(
                0, [] { return 42; }, [&](const Failure&) { failed = true; }),
            42);
  EXPECT_FALSE(failed);
}

TEST(Guard, GivesTheNeutralResultAfterAFailure) {
  bool failed = false;
  EXPECT_EQ(Guarded(
                7, []() -> int { throw std::bad_alloc(); }, [&](const Failure&) { failed = true; }),
            7);
  EXPECT_TRUE(failed);
}

TEST(Guard, OutlivesAHandlerThatFails) {
  EXPECT_EQ(Guarded(
                7, []() -> int { throw std::runtime_error("body"); },
                [](const Failure&) { throw std::bad_alloc(); }),
            7);
}

TEST(Guard, GivesTheSameWhenNothingIsToBeWritten) {
  EXPECT_EQ(GuardedQuietly(0, [] { return 42; }), 42);
  EXPECT_EQ(GuardedQuietly(7, []() -> int { throw std::bad_alloc(); }), 7);
}

TEST(Guard, TellsTheKindsOfFailureApart) {
  const Failure internet = Caught([] { throw Error(ErrorKind::kInternet, 12029, u"no line"); });
  EXPECT_EQ(internet.kind, Kind::kInternet);
  EXPECT_EQ(internet.text, u"no line");
  EXPECT_EQ(Caught([] { throw Error(ErrorKind::kFile, 1, u"x"); }).kind, Kind::kFile);
  EXPECT_EQ(Caught([] { throw Error(ErrorKind::kOther, 1, u"x"); }).kind, Kind::kOther);
  EXPECT_EQ(Caught([] { throw std::bad_alloc(); }).kind, Kind::kMemory);
  EXPECT_EQ(Caught([] { throw std::runtime_error("x"); }).kind, Kind::kUnknown);
  EXPECT_EQ(Caught([] { throw 1; }).kind, Kind::kUnknown);
}

TEST(Guard, OnlyTheUnknownHasNoWordsOfItsOwn) {
  EXPECT_TRUE(Caught([] { throw Error(ErrorKind::kOther, 1, u"x"); }).is_known());
  EXPECT_TRUE(Caught([] { throw std::bad_alloc(); }).is_known());
  SetLastError(kErrorFileNotFound);
  const Failure unknown = Caught([] { throw 1; });
  EXPECT_FALSE(unknown.is_known());
  EXPECT_EQ(unknown.text, GetLastErrorText());
}

TEST(Guard, CutsAFailuresTextAt260Units) {
  const Text text(300, u'x');
  EXPECT_EQ(Caught([&] { throw Error(ErrorKind::kFile, 1, text); }).text, Text(260, u'x'));
}

}  // namespace
}  // namespace zv
