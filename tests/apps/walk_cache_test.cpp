#include "apps/zvdrive/drive/walk_cache.h"

#include <gtest/gtest.h>

#include <functional>

namespace zv::testing {
namespace {

constexpr std::chrono::hours kLong{1};

NodeInfo FileOf(int64_t size) {
  return {.is_folder = false, .size = size, .created = {}, .modified = {}};
}

void WalkWith(WalkCache& walks, TextView folder, const std::vector<NamedNode>& nodes) {
  walks.Store(folder, nodes, walks.BeginAsking(folder));
}

TEST(WalkCacheTest, AFolderThatWasNeverWalkedIsUnknown) {
  WalkCache walks(kLong);
  EXPECT_FALSE(walks.WasWalked(u"\\"));
  EXPECT_EQ(walks.Fresh(u"\\"), nullptr);
  EXPECT_EQ(walks.Latest(u"\\"), nullptr);
}

TEST(WalkCacheTest, AWalkIsFreshForItsLifetimeAndKeptAfterIt) {
  WalkCache young(kLong), old(std::chrono::milliseconds(-1));
  for (WalkCache* walks : {&young, &old}) WalkWith(*walks, u"\\", {{u"a", FileOf(1)}});
  ASSERT_NE(young.Fresh(u"\\"), nullptr);
  EXPECT_EQ(young.Fresh(u"\\")->at(u"a").size, 1);
  EXPECT_EQ(old.Fresh(u"\\"), nullptr);
  ASSERT_NE(old.Latest(u"\\"), nullptr);
  EXPECT_TRUE(old.Latest(u"\\")->contains(u"a"));
}

TEST(WalkCacheTest, TakesLocalChangesOver) {
  WalkCache walks(kLong);
  WalkWith(walks, u"\\d", {{u"a", FileOf(1)}, {u"b", FileOf(2)}});
  walks.Put(u"\\d\\c", FileOf(3));
  walks.Drop(u"\\d\\a");
  ASSERT_NE(walks.Fresh(u"\\d"), nullptr);
  EXPECT_EQ(walks.Fresh(u"\\d")->size(), 2u);
  EXPECT_EQ(walks.Fresh(u"\\d")->at(u"c").size, 3);
}

TEST(WalkCacheTest, AChangeDuringAWalkMakesItsResultStale) {
  for (int kind = 0; kind < 3; ++kind) {
    WalkCache walks(kLong);
    const uint64_t walk = walks.BeginAsking(u"\\d");
    if (kind == 0) walks.Put(u"\\d\\c", FileOf(3));
    if (kind == 1) walks.Drop(u"\\d\\a");
    if (kind == 2) walks.Expire(u"\\d");
    walks.Store(u"\\d", {{u"a", FileOf(1)}}, walk);
    EXPECT_EQ(walks.Fresh(u"\\d"), nullptr) << kind;
    EXPECT_TRUE(walks.WasWalked(u"\\d")) << kind;
  }
}

TEST(WalkCacheTest, AWalkOfAFolderThatWasForgottenMeanwhileLeavesNothing) {
  WalkCache walks(kLong);
  const uint64_t walk = walks.BeginAsking(u"\\d");
  walks.Forget(u"\\d");
  walks.Store(u"\\d", {{u"a", FileOf(1)}}, walk);
  EXPECT_FALSE(walks.WasWalked(u"\\d"));
  // Nor when a folder of the same name is walked next.
  const uint64_t next = walks.BeginAsking(u"\\d");
  EXPECT_NE(next, walk);
  walks.Store(u"\\d", {{u"a", FileOf(1)}}, walk);
  EXPECT_EQ(walks.Fresh(u"\\d"), nullptr);
}

TEST(WalkCacheTest, ForgetsAFolderWithAllBeneath) {
  WalkCache walks(kLong);
  for (const TextView folder : {u"\\d", u"\\d\\e", u"\\dx"}) WalkWith(walks, folder, {});
  walks.Forget(u"\\d");
  EXPECT_FALSE(walks.WasWalked(u"\\d"));
  EXPECT_FALSE(walks.WasWalked(u"\\d\\e"));
  EXPECT_TRUE(walks.WasWalked(u"\\dx"));
}

TEST(WalkCacheTest, ANewWalkReplacesTheOldOne) {
  WalkCache walks(kLong);
  WalkWith(walks, u"\\", {{u"a", FileOf(1)}});
  walks.Expire(u"\\");
  EXPECT_EQ(walks.Fresh(u"\\"), nullptr);
  WalkWith(walks, u"\\", {{u"b", FileOf(2)}});
  ASSERT_NE(walks.Fresh(u"\\"), nullptr);
  EXPECT_FALSE(walks.Fresh(u"\\")->contains(u"a"));
  EXPECT_TRUE(walks.Fresh(u"\\")->contains(u"b"));
}

TEST(WalkCacheTest, AQueriedEntryIsFreshForItsLifetime) {
  WalkCache young(kLong), old(std::chrono::milliseconds(-1));
  for (WalkCache* walks : {&young, &old}) {
    WalkWith(*walks, u"\\", {{u"a", FileOf(1)}});
    walks->Learn(u"\\a", FileOf(2), walks->BeginAsking(u"\\"));
  }
  ASSERT_NE(young.FreshNode(u"\\a"), nullptr);
  EXPECT_EQ(young.FreshNode(u"\\a")->size, 2);
  EXPECT_EQ(young.FreshNode(u"\\b"), nullptr);
  EXPECT_EQ(old.FreshNode(u"\\a"), nullptr);
}

TEST(WalkCacheTest, WhateverIsNewerReplacesAQuerysAnswer) {
  const std::function<void(WalkCache&)> newer[] = {
      [](WalkCache& walks) {
        WalkWith(walks, u"\\d", {{u"a", FileOf(3)}});
      },
      [](WalkCache& walks) { walks.Put(u"\\d\\a", FileOf(3)); },
      [](WalkCache& walks) { walks.Drop(u"\\d\\a"); },
      [](WalkCache& walks) { walks.Expire(u"\\d"); },
      [](WalkCache& walks) { walks.Forget(u"\\d"); },
  };
  for (const auto& change : newer) {
    WalkCache walks(kLong);
    WalkWith(walks, u"\\d", {{u"a", FileOf(1)}});
    const uint64_t asked = walks.BeginAsking(u"\\d");
    walks.Learn(u"\\d\\a", FileOf(2), asked);
    EXPECT_NE(walks.FreshNode(u"\\d\\a"), nullptr);
    change(walks);
    EXPECT_EQ(walks.FreshNode(u"\\d\\a"), nullptr) << &change - newer;
  }
}

TEST(WalkCacheTest, AChangeDuringAQueryMakesItsAnswerStale) {
  for (int kind = 0; kind < 4; ++kind) {
    WalkCache walks(kLong);
    WalkWith(walks, u"\\d", {{u"a", FileOf(1)}});
    const uint64_t asked = walks.BeginAsking(u"\\d");
    if (kind == 0) walks.Put(u"\\d\\a", FileOf(3));
    if (kind == 1) walks.Drop(u"\\d\\a");
    if (kind == 2) walks.Expire(u"\\d");
    if (kind == 3) walks.Forget(u"\\d");
    walks.Learn(u"\\d\\a", FileOf(2), asked);
    EXPECT_EQ(walks.FreshNode(u"\\d\\a"), nullptr) << kind;
  }
}

}  // namespace
}  // namespace zv::testing
