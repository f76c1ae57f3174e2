#include "apps/zvdrive/drive/name_guard.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zv::testing {
namespace {

TEST(NameGuardTest, TheSameEntryMayBeUsedAgain) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\a\\b.txt", false));
  EXPECT_TRUE(names.Claim(u"\\a\\b.txt", false));
}

TEST(NameGuardTest, ASeparatorAndANumberSignAreOneName) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\a#b.txt", false));
  EXPECT_FALSE(names.Claim(u"\\a\\b.txt", false));
  names.Release(u"\\a#b.txt");
  EXPECT_TRUE(names.Claim(u"\\a\\b.txt", false));
}

TEST(NameGuardTest, NamesThatDifferInCaseOnlyAreOneName) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\Docs", true));
  EXPECT_FALSE(names.Claim(u"\\docs", true));
  EXPECT_TRUE(names.Claim(u"\\Docs\\A.txt", false));
  EXPECT_FALSE(names.Claim(u"\\Docs\\a.TXT", false));
}

// Whatever becomes of the folder, the cache does to all that is kept under its name.
TEST(NameGuardTest, AFileAndAFolderAreOneName) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\a.txt", true));
  EXPECT_FALSE(names.Claim(u"\\A.txt", false));
  EXPECT_TRUE(names.Claim(u"\\b#c", false));
  EXPECT_FALSE(names.Claim(u"\\b\\c", true));
  EXPECT_FALSE(names.CanMove(u"\\a.txt", u"\\B\\C", true));
}

// Its time file is not named like any file's content.
TEST(NameGuardTest, AFileMayBeNamedLikeAFoldersTimeFile) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\x", true));
  EXPECT_TRUE(names.Claim(u"\\x.time", false));
}

TEST(NameGuardTest, AFoldersTimeFileIsNamedLikeTheListingOfAnother) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\x", true));
  EXPECT_FALSE(names.Claim(u"\\x.time", true));
  names.Release(u"\\x");
  EXPECT_TRUE(names.Claim(u"\\x.time", true));
  EXPECT_FALSE(names.Claim(u"\\x", true));
}

TEST(NameGuardTest, ARefusedClaimKeepsNoName) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\x.time", true));
  EXPECT_FALSE(names.Claim(u"\\x", true));
  EXPECT_TRUE(names.Claim(u"\\X", false));
  names.Release(u"\\X");
  names.Release(u"\\x.time");
  EXPECT_TRUE(names.Claim(u"\\X", true));
}

TEST(NameGuardTest, ReleasingAFolderReleasesWhatLiesBeneath) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\a\\b\\c", false));
  EXPECT_TRUE(names.Claim(u"\\ab", false));
  names.Release(u"\\a");
  EXPECT_TRUE(names.Claim(u"\\a#b#c", false));
  EXPECT_FALSE(names.Claim(u"\\AB", false));
}

TEST(NameGuardTest, MovesAFolderWithAllItsNames) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\a", true));
  EXPECT_TRUE(names.Claim(u"\\a\\b.txt", false));
  EXPECT_TRUE(names.CanMove(u"\\a", u"\\z", true));
  names.Move(u"\\a", u"\\z", names.NamesUnder(u"\\a", u"\\z"));
  EXPECT_TRUE(names.Claim(u"\\a#b.txt", false));
  EXPECT_FALSE(names.Claim(u"\\z#b.txt", false));
  EXPECT_FALSE(names.Claim(u"\\Z", true));
}

TEST(NameGuardTest, RefusesAMoveOntoTheNameOfAnother) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\z#b.txt", false));
  EXPECT_FALSE(names.CanMove(u"\\c", u"\\z\\b.txt", false));
  EXPECT_TRUE(names.Claim(u"\\a\\b.txt", false));
  EXPECT_FALSE(names.CanMove(u"\\a", u"\\z", true));
  EXPECT_TRUE(names.CanMove(u"\\a", u"\\y", true));
}

TEST(NameGuardTest, TellsWhoIsCachedAsIfInAFolder) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\C", true));
  EXPECT_TRUE(names.Claim(u"\\C\\a.txt", false));
  EXPECT_TRUE(names.Claim(u"\\Cobol.txt", false));
  EXPECT_TRUE(names.Bystanders(u"\\C").empty());
  EXPECT_TRUE(names.Claim(u"\\c# notes.txt", false));
  EXPECT_TRUE(names.Claim(u"\\c#s\\b.txt", false));
  auto found = names.Bystanders(u"\\C");
  std::ranges::sort(found);
  EXPECT_EQ(found, (std::vector<Text>{u"\\c# notes.txt", u"\\c#s\\b.txt"}));
  EXPECT_TRUE(NameGuard::IsAffected(u"\\C\\a.txt", u"\\C"));
  EXPECT_TRUE(NameGuard::IsAffected(u"\\c# notes.txt", u"\\C"));
  EXPECT_FALSE(NameGuard::IsAffected(u"\\Cobol.txt", u"\\C"));
}

TEST(NameGuardTest, AMoveMayChangeTheCaseOrReplaceTheTarget) {
  NameGuard names;
  EXPECT_TRUE(names.Claim(u"\\x", false));
  EXPECT_TRUE(names.CanMove(u"\\x", u"\\X", false));
  EXPECT_TRUE(names.Claim(u"\\y", false));
  EXPECT_TRUE(names.CanMove(u"\\x", u"\\y", false));
  names.Move(u"\\x", u"\\y", names.NamesUnder(u"\\x", u"\\y"));
  EXPECT_FALSE(names.Claim(u"\\Y", false));
  EXPECT_TRUE(names.Claim(u"\\X", false));
}

}  // namespace
}  // namespace zv::testing
