#include "apps/zvdrive/drive/drive_path.h"

#include <gtest/gtest.h>

namespace zv::testing {
namespace {

TEST(DrivePathTest, ParentOfATopEntryAndOfTheRootIsTheRoot) {
  EXPECT_EQ(ParentOf(u"\\a"), u"\\");
  EXPECT_EQ(ParentOf(u"\\"), u"\\");
  EXPECT_EQ(ParentOf(u"\\Docs\\a b.txt"), u"\\Docs");
}

TEST(DrivePathTest, LeafIsTheLastElement) {
  EXPECT_EQ(LeafOf(u"\\a"), u"a");
  EXPECT_EQ(LeafOf(u"\\Docs\\a b.txt"), u"a b.txt");
  EXPECT_EQ(LeafOf(u"\\"), u"");
}

TEST(DrivePathTest, JoinsWithOneSeparator) {
  EXPECT_EQ(JoinPath(u"\\", u"a"), u"\\a");
  EXPECT_EQ(JoinPath(u"\\Docs", u"a"), u"\\Docs\\a");
  EXPECT_EQ(JoinPath(u"\\Docs", u""), u"\\Docs\\");
  EXPECT_EQ(JoinPath(u"\\", u""), u"\\");
}

TEST(DrivePathTest, IsWithinItselfAndWhatLiesAboveButNotANeighbour) {
  EXPECT_TRUE(IsWithin(u"\\a", u"\\a"));
  EXPECT_TRUE(IsWithin(u"\\a\\b\\c", u"\\a"));
  EXPECT_TRUE(IsWithin(u"\\a", u"\\"));
  EXPECT_FALSE(IsWithin(u"\\ab", u"\\a"));
  EXPECT_FALSE(IsWithin(u"\\a", u"\\a\\b"));
}

TEST(DrivePathTest, RefusesNamesThatAListingCannotHold) {
  for (const TextView path :
       {u"\\", u"\\Docs\\", u"\\.", u"\\..", u"\\a?b", u"\\a/b", u"\\a\rb", u"\\a\nb"}) {
    EXPECT_EQ(CheckNewPath(path), DriveError::kInvalidName) << ToUtf8(path);
  }
  EXPECT_EQ(CheckNewPath(u"\\Docs\\.hidden"), DriveError::kNone);
  EXPECT_EQ(CheckNewPath(u"\\a#b%20 \u00e4.txt"), DriveError::kNone);
}

TEST(DrivePathTest, TakesPathsThatARenameRecordHoldsWithItsPrefix) {
  EXPECT_EQ(CheckNewPath(Text(u"\\") + Text(252, u'x')), DriveError::kNone);
  EXPECT_EQ(CheckNewPath(Text(u"\\") + Text(253, u'x')), DriveError::kNameTooLong);
}

}  // namespace
}  // namespace zv::testing
