#include "apps/zvdrive/drive/told_sizes.h"

#include <gtest/gtest.h>

namespace zv::testing {
namespace {

using namespace std::chrono_literals;

class ToldSizesTest : public ::testing::Test {
 protected:
  ToldSizes sizes_{1s};
  const ToldSizes::Time start_{100s};
};

TEST_F(ToldSizesTest, WhatNobodyToldDoesNotDiffer) {
  EXPECT_FALSE(sizes_.MayDiffer("/a", 5, start_));
}

TEST_F(ToldSizesTest, AnotherSizeDiffersUntilItHasExpired) {
  sizes_.Note("/a", 5, start_);
  EXPECT_FALSE(sizes_.MayDiffer("/a", 5, start_ + 500ms));
  EXPECT_TRUE(sizes_.MayDiffer("/a", 10, start_ + 500ms));
  EXPECT_FALSE(sizes_.MayDiffer("/b", 10, start_ + 500ms));
  EXPECT_FALSE(sizes_.MayDiffer("/a", 10, start_ + 1s));
}

TEST_F(ToldSizesTest, OfTwoSizesEitherMayBeBelieved) {
  sizes_.Note("/a", 5, start_);
  sizes_.Note("/a", 10, start_ + 500ms);
  EXPECT_TRUE(sizes_.MayDiffer("/a", 5, start_ + 600ms));
  EXPECT_TRUE(sizes_.MayDiffer("/a", 10, start_ + 600ms));
  sizes_.Note("/a", 10, start_ + 1600ms);
  EXPECT_FALSE(sizes_.MayDiffer("/a", 10, start_ + 1700ms));
}

TEST_F(ToldSizesTest, WhatWasToldAgainLivesOn) {
  sizes_.Note("/a", 5, start_);
  sizes_.Note("/b", 1, start_ + 900ms);
  sizes_.Note("/c", 1, start_ + 1100ms);
  EXPECT_TRUE(sizes_.MayDiffer("/b", 2, start_ + 1500ms));
  EXPECT_FALSE(sizes_.MayDiffer("/a", 2, start_ + 1500ms));
}

}  // namespace
}  // namespace zv::testing
