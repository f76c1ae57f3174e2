// Renaming.
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class RenameTest : public DriveTest {
 protected:
  DriveError Rename(TextView from, TextView to, bool replace = true) {
    return drive_.Rename(from, to, replace, kProcess);
  }
  std::vector<AskedRequest> Renames() const { return worker_.Log(OfMajor(MajorCode::kRename)); }
  std::string Content(TextView path) {
    const FileHandle file = OpenFileAt(path);
    if (!file) return "(cannot be opened)";
    const std::string content = ReadFrom(file, 0, 1'000'000);
    EXPECT_EQ(CloseFile(file), DriveError::kNone);
    return content;
  }
};

TEST_F(RenameTest, MovesAFile) {
  worker_.PutFolder(u"\\d");
  worker_.PutFile(u"\\a.txt", "x");
  EXPECT_EQ(Rename(u"\\a.txt", u"\\d\\b.txt"), DriveError::kNone);
  EXPECT_EQ(drive_.Look(u"\\a.txt").error, DriveError::kNotFound);
  EXPECT_EQ(Content(u"\\d\\b.txt"), "x");
  ASSERT_EQ(Renames().size(), 1u);
  EXPECT_EQ(Renames()[0].path, u"\\a.txt");
  EXPECT_EQ(Renames()[0].second_path, u"\\??\\Z:\\d\\b.txt");
}

TEST_F(RenameTest, ListsBothParentsBeforeItAsks) {
  worker_.PutFolder(u"\\c");
  worker_.PutFolder(u"\\d");
  worker_.PutFile(u"\\c\\a.txt", "x");
  EXPECT_EQ(Rename(u"\\c\\a.txt", u"\\d\\a.txt"), DriveError::kNone);
  std::vector<Text> walked;
  for (const AskedRequest& asked : worker_.Log()) {
    if (asked.major == MajorCode::kRename) break;
    if (asked.major == MajorCode::kDirectory && asked.length == 1) walked.push_back(asked.path);
  }
  EXPECT_THAT(walked, UnorderedElementsAre(u"\\", u"\\c\\", u"\\d\\"));
}

TEST_F(RenameTest, ReplacesAFileWithTheReplaceCode) {
  worker_.PutFile(u"\\a.txt", "new");
  worker_.PutFile(u"\\b.txt", "old");
  EXPECT_EQ(Rename(u"\\a.txt", u"\\b.txt"), DriveError::kNone);
  EXPECT_THAT(Renames(), ::testing::SizeIs(1));
  EXPECT_EQ(Renames()[0].minor, MinorCode::kReplaceOnRename);
  EXPECT_EQ(Content(u"\\b.txt"), "new");
}

TEST_F(RenameTest, APlainRenameOntoAnExistingNameFailsWithoutAsking) {
  worker_.PutFile(u"\\a.txt", "new");
  worker_.PutFile(u"\\b.txt", "old");
  EXPECT_EQ(Rename(u"\\a.txt", u"\\b.txt", false), DriveError::kExists);
  EXPECT_THAT(Renames(), IsEmpty());
}

TEST_F(RenameTest, APlainRenameOntoANameThatSomebodyElseJustMadeFails) {
  worker_.PutFile(u"\\a.txt", "new");
  NamesIn(u"\\");
  worker_.PutFile(u"\\b.txt", "other");
  EXPECT_EQ(Rename(u"\\a.txt", u"\\b.txt", false), DriveError::kExists);
  EXPECT_EQ(worker_.ServerFile(u"\\b.txt"), "other");
  EXPECT_EQ(worker_.ServerFile(u"\\a.txt"), "new");
}

// Replacing deletes the target with all beneath it: what it is must be known first.
TEST_F(RenameTest, ATargetThatSomebodyElseJustMadeIsLookedAtBeforeItIsReplaced) {
  worker_.PutFile(u"\\a.txt", "new");
  NamesIn(u"\\");
  worker_.PutFile(u"\\b.txt", "other");
  EXPECT_EQ(Rename(u"\\a.txt", u"\\b.txt"), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\b.txt"), "new");
  worker_.PutFolder(u"\\c.txt");
  worker_.PutFile(u"\\c.txt\\kept", "kept");
  EXPECT_EQ(Rename(u"\\b.txt", u"\\c.txt"), DriveError::kIsFolder);
  EXPECT_EQ(worker_.ServerFile(u"\\c.txt\\kept"), "kept");
}

TEST_F(RenameTest, AFileAndAFolderDoNotReplaceEachOther) {
  worker_.PutFile(u"\\f", "x");
  worker_.PutFolder(u"\\d");
  EXPECT_EQ(Rename(u"\\f", u"\\d"), DriveError::kIsFolder);
  EXPECT_EQ(Rename(u"\\d", u"\\f"), DriveError::kNotFolder);
  EXPECT_THAT(Renames(), IsEmpty());
}

TEST_F(RenameTest, AFolderReplacesAnEmptyFolderOnly) {
  worker_.PutFolder(u"\\d");
  worker_.PutFile(u"\\d\\a", "x");
  worker_.PutFolder(u"\\empty");
  worker_.PutFolder(u"\\full");
  worker_.PutFile(u"\\full\\b", "y");
  EXPECT_EQ(Rename(u"\\d", u"\\full"), DriveError::kNotEmpty);
  EXPECT_EQ(Rename(u"\\d", u"\\empty"), DriveError::kNone);
  EXPECT_EQ(Content(u"\\empty\\a"), "x");
}

TEST_F(RenameTest, AFolderDoesNotGoIntoItself) {
  worker_.PutFolder(u"\\d");
  EXPECT_EQ(Rename(u"\\d", u"\\d\\e"), DriveError::kIntoItself);
  EXPECT_EQ(Rename(u"\\d", u"\\d"), DriveError::kNone);
  EXPECT_EQ(Rename(u"\\d", u"\\dx"), DriveError::kNone);
  EXPECT_THAT(Renames(), ::testing::SizeIs(1));
}

TEST_F(RenameTest, TheRootIsNeitherMovedNorReplaced) {
  worker_.PutFolder(u"\\d");
  EXPECT_EQ(Rename(u"\\", u"\\e"), DriveError::kNotPermitted);
  EXPECT_EQ(Rename(u"\\d", u"\\"), DriveError::kNotPermitted);
}

TEST_F(RenameTest, MissingSourcesAndTargetFoldersAreNotFound) {
  worker_.PutFile(u"\\a", "x");
  EXPECT_EQ(Rename(u"\\no", u"\\b"), DriveError::kNotFound);
  EXPECT_EQ(Rename(u"\\a", u"\\no\\b"), DriveError::kNotFound);
  EXPECT_EQ(Rename(u"\\a", Text(u"\\") + Text(253, u'x')), DriveError::kNameTooLong);
  EXPECT_EQ(Rename(u"\\a", u"\\b?"), DriveError::kInvalidName);
  EXPECT_THAT(Renames(), IsEmpty());
}

TEST_F(RenameTest, ARefusedRenameChangesNothing) {
  worker_.PutFile(u"\\a.txt", "x");
  worker_.RefuseNamespaceChanges(true);
  EXPECT_EQ(Rename(u"\\a.txt", u"\\b.txt"), DriveError::kIo);
  EXPECT_TRUE(drive_.Look(u"\\a.txt"));
  EXPECT_EQ(drive_.Look(u"\\b.txt").error, DriveError::kNotFound);
}

TEST_F(RenameTest, ChangesTheCaseOfAName) {
  worker_.PutFile(u"\\a.txt", "x");
  EXPECT_EQ(Content(u"\\a.txt"), "x");
  EXPECT_EQ(Rename(u"\\a.txt", u"\\A.txt"), DriveError::kNone);
  EXPECT_EQ(Content(u"\\A.txt"), "x");
  EXPECT_THAT(NamesIn(u"\\"), ElementsAre(u"A.txt"));
}

TEST_F(RenameTest, IsRefusedOntoTheCacheNameOfAnother) {
  worker_.PutFolder(u"\\d");
  worker_.PutFile(u"\\d\\a.txt", "owner");
  worker_.PutFile(u"\\b.txt", "x");
  EXPECT_EQ(Content(u"\\d\\a.txt"), "owner");
  EXPECT_EQ(Rename(u"\\b.txt", u"\\d#a.txt"), DriveError::kNotUnique);
  EXPECT_THAT(Renames(), IsEmpty());
  EXPECT_EQ(drive_.RemoveFile(u"\\d\\a.txt", kProcess), DriveError::kNone);
  EXPECT_EQ(Rename(u"\\b.txt", u"\\d#a.txt"), DriveError::kNone);
}

// In the cache their content lies as if in the folder: it would be moved along, or cleared.
TEST_F(RenameTest, OfAFolderIsRefusedWhileAFileCachedAsIfInItIsOpen) {
  worker_.PutFolder(u"\\C");
  worker_.PutFile(u"\\C# notes.txt", "x");
  worker_.PutFile(u"\\D#s", "x");
  const FileHandle beside_the_source = OpenFileAt(u"\\C# notes.txt");
  EXPECT_EQ(Rename(u"\\C", u"\\E"), DriveError::kNotUnique);
  EXPECT_EQ(CloseFile(beside_the_source), DriveError::kNone);
  const FileHandle beside_the_target = OpenFileAt(u"\\D#s");
  EXPECT_EQ(Rename(u"\\C", u"\\D"), DriveError::kNotUnique);
  EXPECT_THAT(Renames(), IsEmpty());
  EXPECT_EQ(Rename(u"\\C", u"\\E"), DriveError::kNone);
  EXPECT_EQ(CloseFile(beside_the_target), DriveError::kNone);
}

TEST_F(RenameTest, BlocksAndCompletionComeBeforeTheRename) {
  const FileHandle file = CreateFileAt(u"\\a.txt");
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  worker_.ClearLog();
  EXPECT_EQ(Rename(u"\\a.txt", u"\\b.txt"), DriveError::kNone);
  const auto log = worker_.Log();
  ASSERT_GE(log.size(), 2u);
  EXPECT_TRUE(log[log.size() - 2].IsCompletion());
  EXPECT_EQ(log.back().major, MajorCode::kRename);
  EXPECT_EQ(WriteTo(file, 1, "y"), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\b.txt"), "xy");
  EXPECT_EQ(worker_.ServerFile(u"\\a.txt"), std::nullopt);
}

TEST_F(RenameTest, AFileThatCannotBeSentIsRenamedAndSentUnderItsNewName) {
  worker_.RefuseUploads(true);
  const FileHandle file = CreateFileAt(u"\\a.txt");
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  EXPECT_EQ(Rename(u"\\a.txt", u"\\b.txt"), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_TRUE(worker_.IsUnsent(u"\\b.txt"));
  worker_.RefuseUploads(false);
  EXPECT_EQ(drive_.SendAgain(u"\\b.txt", true, kProcess), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\b.txt"), "x");
}

TEST_F(RenameTest, OpenFilesFollowARenameOfTheirFolder) {
  worker_.PutFolder(u"\\d");
  worker_.PutFolder(u"\\d\\e");
  const FileHandle file = CreateFileAt(u"\\d\\e\\a");
  EXPECT_EQ(WriteTo(file, 0, "before"), DriveError::kNone);
  EXPECT_EQ(Rename(u"\\d", u"\\z"), DriveError::kNone);
  EXPECT_EQ(drive_.Look(u"\\d\\e\\a").error, DriveError::kNotFound);
  EXPECT_EQ(drive_.Look(u"\\z\\e\\a").value.size, 6);
  EXPECT_EQ(WriteTo(file, 6, " and after"), DriveError::kNone);
  EXPECT_EQ(ReadFrom(file, 0, 100), "before and after");
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\z\\e\\a"), "before and after");
  EXPECT_FALSE(worker_.ServerHasFolder(u"\\d"));
}

TEST_F(RenameTest, AReplacedOpenFileSendsNothingAnyMore) {
  const FileHandle old_file = CreateFileAt(u"\\b.txt");
  EXPECT_EQ(WriteTo(old_file, 0, "old"), DriveError::kNone);
  worker_.PutFile(u"\\a.txt", "new");
  drive_.Invalidate(u"\\a.txt");
  EXPECT_EQ(Rename(u"\\a.txt", u"\\b.txt"), DriveError::kNone);
  EXPECT_EQ(WriteTo(old_file, 0, "late"), DriveError::kNotFound);
  EXPECT_EQ(CloseFile(old_file), DriveError::kNone);
  EXPECT_EQ(Content(u"\\b.txt"), "new");
  EXPECT_EQ(worker_.ServerFile(u"\\b.txt"), "new");
}

TEST_F(RenameTest, ATemporarySaveBringsTheCleanContentInFirst) {
  worker_.PutFile(u"\\save.tmp", "old");
  EXPECT_EQ(Content(u"\\save.tmp"), "old");
  worker_.PutFile(u"\\save.tmp", "changed elsewhere");
  worker_.ClearLog();
  EXPECT_EQ(Rename(u"\\save.tmp", u"\\report.doc"), DriveError::kNone);
  EXPECT_THAT(worker_.Checked(), ElementsAre(u"\\save.tmp"));
  EXPECT_EQ(worker_.ServerFile(u"\\report.doc"), "changed elsewhere");
  const auto log = worker_.Log();
  const auto restore = std::ranges::find(log, MajorCode::kRestore, &AskedRequest::major);
  const auto rename = std::ranges::find(log, MajorCode::kRename, &AskedRequest::major);
  ASSERT_NE(restore, log.end());
  EXPECT_LT(restore, rename);
  EXPECT_GE(restore->length, 51200u);
}

TEST_F(RenameTest, ATemporarySaveOfAFileThatIsOpenForReadingBringsItsContentIn) {
  worker_.PutFile(u"\\save.tmp", Pattern(60'000));
  const FileHandle reader = OpenFileAt(u"\\save.tmp");
  EXPECT_EQ(Rename(u"\\save.tmp", u"\\report.doc"), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\report.doc"), Pattern(60'000));
  EXPECT_EQ(ReadFrom(reader, 59'000, 5000), Pattern(60'000).substr(59'000));
}

TEST_F(RenameTest, ATemporarySaveOfAnEmptyFileKeepsItInTheListing) {
  worker_.PutFile(u"\\save", "");
  EXPECT_EQ(Rename(u"\\save", u"\\report.doc"), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\report.doc"), "");
  EXPECT_EQ(drive_.Look(u"\\report.doc").value.size, 0);
}

TEST_F(RenameTest, ATemporarySaveWhoseContentCannotBeBroughtInIsNotTried) {
  worker_.PutFile(u"\\save.tmp", Pattern(60'000));
  worker_.RefuseRestores(true);
  EXPECT_EQ(Rename(u"\\save.tmp", u"\\report.doc"), DriveError::kIo);
  EXPECT_THAT(Renames(), IsEmpty());
}

TEST_F(RenameTest, AfterATemporarySaveTheParentIsAskedAnew) {
  worker_.PutFile(u"\\save.tmp", "x");
  EXPECT_EQ(Rename(u"\\save.tmp", u"\\report.doc"), DriveError::kNone);
  worker_.ClearLog();
  EXPECT_THAT(NamesIn(u"\\"), ElementsAre(u"report.doc"));
  const auto log = worker_.Log();
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log.front().major, MajorCode::kDirectory);
}

// The worker takes it for a save as well, finds no content and drops the folder from its listing.
TEST_F(RenameTest, AFolderThatIsRenamedLikeATemporarySaveDoesNotVanish) {
  worker_.PutFolder(u"\\plain");
  worker_.PutFile(u"\\plain\\a", "x");
  EXPECT_EQ(Rename(u"\\plain", u"\\with.dot"), DriveError::kNone);
  EXPECT_TRUE(drive_.Look(u"\\with.dot").value.is_folder);
  EXPECT_EQ(Content(u"\\with.dot\\a"), "x");
}

TEST_F(RenameTest, AnEditorsSaveLeavesTheNewContentUnderTheOldName) {
  worker_.PutFile(u"\\report.doc", "old");
  WriteFile(u"\\~1.tmp", "new content");
  EXPECT_EQ(Rename(u"\\report.doc", u"\\report.bak"), DriveError::kNone);
  EXPECT_EQ(Rename(u"\\~1.tmp", u"\\report.doc"), DriveError::kNone);
  EXPECT_EQ(drive_.RemoveFile(u"\\report.bak", kProcess), DriveError::kNone);
  EXPECT_EQ(Content(u"\\report.doc"), "new content");
  EXPECT_THAT(NamesIn(u"\\"), ElementsAre(u"report.doc"));
}

}  // namespace
}  // namespace zv::testing
