// Looking: what a drive says of names, and what it asks for that.
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class LookTest : public DriveTest {};

class AgedLookTest : public DriveTest {
 protected:
  AgedLookTest() : DriveTest(kNoLifetime) {}
};

TEST_F(LookTest, TheRootIsAFolderWithoutAsking) {
  const auto root = drive_.Look(u"\\");
  ASSERT_TRUE(root);
  EXPECT_TRUE(root.value.is_folder);
  EXPECT_THAT(worker_.Log(), IsEmpty());
}

TEST_F(LookTest, LookUpsWithinAWalksLifetimeAskNothing) {
  worker_.PutFile(u"\\a", "12");
  worker_.PutFolder(u"\\d");
  EXPECT_THAT(NamesIn(u"\\"), UnorderedElementsAre(u"a", u"d"));
  worker_.ClearLog();
  EXPECT_EQ(drive_.Look(u"\\a").value.size, 2);
  EXPECT_TRUE(drive_.Look(u"\\d").value.is_folder);
  EXPECT_EQ(drive_.Look(u"\\b").error, DriveError::kNotFound);
  EXPECT_THAT(NamesIn(u"\\"), UnorderedElementsAre(u"a", u"d"));
  EXPECT_THAT(worker_.Log(), IsEmpty());
}

TEST_F(AgedLookTest, AnAgedWalkIsFollowedByAQueryForANameThatExists) {
  worker_.PutFile(u"\\a", "12");
  NamesIn(u"\\");
  worker_.ClearLog();
  EXPECT_TRUE(drive_.Look(u"\\a"));
  const auto log = worker_.Log();
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].major, MajorCode::kQueryInfo);
  EXPECT_EQ(log[0].path, u"\\a");
}

TEST_F(LookTest, AQuerysAnswerServesTheLookUpsThatFollow) {
  worker_.PutFolder(u"\\d");
  NamesIn(u"\\");
  drive_.Invalidate(u"\\d");
  worker_.ClearLog();
  EXPECT_TRUE(drive_.Look(u"\\d"));
  EXPECT_TRUE(drive_.Look(u"\\d").value.is_folder);
  EXPECT_EQ(worker_.Count(OfMajor(MajorCode::kQueryInfo)), 1u);
  EXPECT_EQ(worker_.Log().size(), 1u);
}

TEST_F(LookTest, AQuerysAnswerIsNoneForAFolderThatIsRemoved) {
  worker_.PutFolder(u"\\d");
  NamesIn(u"\\");
  drive_.Invalidate(u"\\d");
  EXPECT_TRUE(drive_.Look(u"\\d"));
  EXPECT_EQ(drive_.RemoveFolder(u"\\d", kProcess), DriveError::kNone);
  EXPECT_EQ(drive_.Look(u"\\d").error, DriveError::kNotFound);
}

TEST_F(AgedLookTest, AFailedQueryIsFollowedByAWalkOfTheParent) {
  worker_.PutFolder(u"\\d");
  worker_.PutFile(u"\\d\\a", "12");
  NamesIn(u"\\d");
  worker_.FailQueries(true);
  worker_.ClearLog();
  EXPECT_EQ(drive_.Look(u"\\d\\a").value.size, 2);
  EXPECT_EQ(drive_.Look(u"\\d\\b").error, DriveError::kNotFound);
  const auto log = worker_.Log();
  ASSERT_GE(log.size(), 2u);
  EXPECT_EQ(log[0].major, MajorCode::kQueryInfo);
  EXPECT_EQ(log[1].major, MajorCode::kDirectory);
  EXPECT_EQ(log[1].path, u"\\d\\");
}

TEST_F(LookTest, AFailedWalkIsAnIoErrorAndNeverAbsent) {
  worker_.PutFile(u"\\a", "12");
  worker_.FailWalks(true);
  EXPECT_EQ(drive_.Look(u"\\a").error, DriveError::kIo);
  EXPECT_EQ(drive_.List(u"\\").error, DriveError::kIo);
  EXPECT_EQ(drive_.Create(u"\\a").error, DriveError::kIo);
  EXPECT_EQ(drive_.MakeFolder(u"\\a"), DriveError::kIo);
  EXPECT_EQ(drive_.Rename(u"\\b", u"\\a", true, kProcess), DriveError::kIo);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "12");
}

TEST_F(AgedLookTest, AFailedQueryAndAFailedWalkAreAnIoError) {
  worker_.PutFile(u"\\a", "12");
  NamesIn(u"\\");
  worker_.FailWalks(true);
  worker_.FailQueries(true);
  EXPECT_EQ(drive_.Look(u"\\a").error, DriveError::kIo);
  EXPECT_EQ(drive_.Look(u"\\b").error, DriveError::kIo);
}

TEST_F(LookTest, AWalkWithoutAReplyIsTriedAgainAtTheNextLook) {
  worker_.PutFile(u"\\a", "12");
  worker_.LoseReplies(OfMajor(MajorCode::kDirectory));
  EXPECT_EQ(drive_.Look(u"\\a").error, DriveError::kIo);
  worker_.LoseReplies({});
  EXPECT_EQ(drive_.Look(u"\\a").value.size, 2);
}

TEST_F(LookTest, AMissingFolderMakesAllBeneathItMissing) {
  EXPECT_EQ(drive_.Look(u"\\no\\such\\file").error, DriveError::kNotFound);
}

TEST_F(LookTest, AFileIsNoFolderToLookIn) {
  worker_.PutFile(u"\\a", "12");
  EXPECT_EQ(drive_.Look(u"\\a\\b").error, DriveError::kNotFolder);
}

TEST_F(LookTest, EntriesThatSomebodyElseMakesShowAfterTheyAreAskedForAnew) {
  NamesIn(u"\\");
  worker_.PutFile(u"\\a", "12");
  EXPECT_EQ(drive_.Look(u"\\a").error, DriveError::kNotFound);
  drive_.Invalidate(u"\\a");
  EXPECT_EQ(drive_.Look(u"\\a").value.size, 2);
}

TEST_F(LookTest, ListsNeitherItselfNorItsParent) {
  worker_.PutFolder(u"\\d");
  EXPECT_THAT(NamesIn(u"\\d"), IsEmpty());
  EXPECT_THAT(NamesIn(u"\\"), UnorderedElementsAre(u"d"));
}

TEST_F(LookTest, TellsItsHostOfEachListing) {
  NamesIn(u"\\");
  NamesIn(u"\\");
  EXPECT_EQ(worker_.noted_listings(), 1);
}

TEST_F(LookTest, AnOpenFilesSizeIsTheWritersEverywhere) {
  NamesIn(u"\\");
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "12345"), DriveError::kNone);
  EXPECT_EQ(drive_.Look(u"\\a").value.size, 5);
  drive_.Invalidate(u"\\a");
  const auto nodes = drive_.List(u"\\");
  ASSERT_EQ(nodes.value.size(), 1u);
  EXPECT_EQ(nodes.value[0].info.size, 5);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
}

TEST_F(LookTest, TheSecondOfTwoFoldersWithOneCacheNameIsRefused) {
  for (const TextView folder : {u"\\x", u"\\X", u"\\x.time", u"\\a", u"\\a\\b", u"\\a#b"}) {
    worker_.PutFolder(folder);
  }
  EXPECT_TRUE(drive_.List(u"\\x"));
  EXPECT_EQ(drive_.List(u"\\X").error, DriveError::kNotUnique);
  EXPECT_EQ(drive_.List(u"\\x.time").error, DriveError::kNotUnique);
  EXPECT_TRUE(drive_.List(u"\\a\\b"));
  EXPECT_EQ(drive_.List(u"\\a#b").error, DriveError::kNotUnique);
  EXPECT_EQ(drive_.Look(u"\\a#b\\file").error, DriveError::kNotUnique);
  EXPECT_EQ(drive_.RemoveFolder(u"\\a\\b", kProcess), DriveError::kNone);
  EXPECT_TRUE(drive_.List(u"\\a#b"));
}

TEST_F(LookTest, AFolderThatCannotBeListedKeepsNoNameFromAnother) {
  EXPECT_EQ(drive_.List(u"\\docs").error, DriveError::kIo);
  worker_.PutFolder(u"\\Docs");
  EXPECT_TRUE(drive_.List(u"\\Docs"));
}

}  // namespace
}  // namespace zv::testing
