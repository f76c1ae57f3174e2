// Making folders and removing.
#include "tests/apps/drive_fixture.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RemoveTest : public DriveTest {
 protected:
  std::vector<AskedRequest> Deletes() const { return worker_.Log(OfMajor(MajorCode::kDelete)); }
};

TEST_F(RemoveTest, MakesAFolder) {
  EXPECT_EQ(drive_.MakeFolder(u"\\d"), DriveError::kNone);
  EXPECT_TRUE(worker_.ServerHasFolder(u"\\d"));
  EXPECT_TRUE(drive_.Look(u"\\d").value.is_folder);
  EXPECT_THAT(NamesIn(u"\\d"), IsEmpty());
  const auto log = worker_.Log(OfMinor(MinorCode::kCreateDirectory));
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].path, u"\\d");
  EXPECT_EQ(log[0].queue, DriveQueue::kTransfer);
}

TEST_F(RemoveTest, MakesNoFolderOverAnythingOrWithoutAParent) {
  worker_.PutFile(u"\\a", "x");
  EXPECT_EQ(drive_.MakeFolder(u"\\a"), DriveError::kExists);
  EXPECT_EQ(drive_.MakeFolder(u"\\no\\d"), DriveError::kNotFound);
  EXPECT_EQ(drive_.MakeFolder(u"\\a\\d"), DriveError::kNotFolder);
  EXPECT_EQ(drive_.MakeFolder(u"\\.."), DriveError::kInvalidName);
}

TEST_F(RemoveTest, AFolderThatCouldNotBeMadeKeepsNoNameFromAnother) {
  worker_.RefuseNamespaceChanges(true);
  EXPECT_EQ(drive_.MakeFolder(u"\\d"), DriveError::kIo);
  EXPECT_EQ(drive_.Look(u"\\d").error, DriveError::kNotFound);
  worker_.RefuseNamespaceChanges(false);
  EXPECT_EQ(drive_.MakeFolder(u"\\D"), DriveError::kNone);
  EXPECT_EQ(drive_.MakeFolder(u"\\d"), DriveError::kNotUnique);
}

TEST_F(RemoveTest, RemovesAFile) {
  worker_.PutFile(u"\\a", "x");
  EXPECT_EQ(drive_.RemoveFile(u"\\a", kProcess), DriveError::kNone);
  EXPECT_EQ(drive_.Look(u"\\a").error, DriveError::kNotFound);
  ASSERT_EQ(Deletes().size(), 1u);
  EXPECT_EQ(Deletes()[0].path, u"\\a");
  EXPECT_EQ(Deletes()[0].process, kProcess);
}

// In the cache its content lies as if in the folder, and would go with it.
TEST_F(RemoveTest, AFolderStaysWhileAFileCachedAsIfInItIsOpenOrUnsent) {
  worker_.PutFolder(u"\\C");
  worker_.PutFile(u"\\C# notes.txt", "x");
  const FileHandle file = OpenFileAt(u"\\C# notes.txt");
  EXPECT_EQ(drive_.RemoveFolder(u"\\C", kProcess), DriveError::kNotUnique);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  worker_.MarkUnsent(u"\\C# notes.txt");
  EXPECT_EQ(drive_.RemoveFolder(u"\\C", kProcess), DriveError::kNotUnique);
  EXPECT_THAT(Deletes(), IsEmpty());
}

TEST_F(RemoveTest, AFolderGoesWhenFilesCachedAsIfInItCanBeReadAnew) {
  worker_.PutFolder(u"\\C");
  worker_.PutFile(u"\\C# notes.txt", "x");
  const FileHandle file = OpenFileAt(u"\\C# notes.txt");
  EXPECT_EQ(ReadFrom(file, 0, 1), "x");
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_EQ(drive_.RemoveFolder(u"\\C", kProcess), DriveError::kNone);
}

TEST_F(RemoveTest, AFileIsNoFolderToRemoveAndAFolderNoFile) {
  worker_.PutFile(u"\\a", "x");
  worker_.PutFolder(u"\\d");
  EXPECT_EQ(drive_.RemoveFolder(u"\\a", kProcess), DriveError::kNotFolder);
  EXPECT_EQ(drive_.RemoveFile(u"\\d", kProcess), DriveError::kIsFolder);
  EXPECT_EQ(drive_.RemoveFile(u"\\no", kProcess), DriveError::kNotFound);
  EXPECT_EQ(drive_.RemoveFolder(u"\\", kProcess), DriveError::kNotPermitted);
  EXPECT_THAT(Deletes(), IsEmpty());
}

TEST_F(RemoveTest, AFolderThatIsNotEmptyIsNeverSentADelete) {
  worker_.PutFolder(u"\\d");
  NamesIn(u"\\d");
  worker_.PutFile(u"\\d\\a", "made by somebody else since");
  EXPECT_EQ(drive_.RemoveFolder(u"\\d", kProcess), DriveError::kNotEmpty);
  EXPECT_THAT(Deletes(), IsEmpty());
}

TEST_F(RemoveTest, AFolderThatCannotBeListedIsNeverSentADelete) {
  worker_.PutFolder(u"\\d");
  NamesIn(u"\\");
  NamesIn(u"\\d");
  worker_.FailWalks(true);
  EXPECT_EQ(drive_.RemoveFolder(u"\\d", kProcess), DriveError::kIo);
  EXPECT_THAT(Deletes(), IsEmpty());
}

TEST_F(RemoveTest, AFolderWithAFileThatIsOnlyBeingWrittenIsNotEmpty) {
  worker_.PutFolder(u"\\d");
  const FileHandle file = CreateFileAt(u"\\d\\a");
  EXPECT_EQ(drive_.RemoveFolder(u"\\d", kProcess), DriveError::kNotEmpty);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
}

TEST_F(RemoveTest, RemovesAnEmptyFolder) {
  worker_.PutFolder(u"\\d");
  EXPECT_EQ(drive_.RemoveFolder(u"\\d", kProcess), DriveError::kNone);
  EXPECT_EQ(drive_.Look(u"\\d").error, DriveError::kNotFound);
  EXPECT_EQ(drive_.Create(u"\\d\\a").error, DriveError::kNotFound);
}

TEST_F(RemoveTest, ARefusedDeleteChangesNothing) {
  worker_.RefuseUploads(true);
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "only here"), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNotStored);
  worker_.RefuseNamespaceChanges(true);
  worker_.ClearLog();
  EXPECT_EQ(drive_.RemoveFile(u"\\a", kProcess), DriveError::kIo);
  // Least of all the content that is nowhere else.
  EXPECT_EQ(worker_.Log().size(), Deletes().size());
  EXPECT_EQ(ReadFrom(OpenFileAt(u"\\a"), 0, 100), "only here");
}

TEST_F(RemoveTest, AnUnlinkedOpenFileSendsNothingAnyMore) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(file, 0, "x"), DriveError::kNone);
  EXPECT_EQ(drive_.RemoveFile(u"\\a", kProcess), DriveError::kNone);
  worker_.ClearLog();
  EXPECT_EQ(WriteTo(file, 1, "y"), DriveError::kNotFound);
  std::vector<std::byte> into(1);
  EXPECT_EQ(drive_.Read(*file, 0, into).error, DriveError::kNotFound);
  EXPECT_EQ(drive_.Resize(*file, 0), DriveError::kNotFound);
  EXPECT_EQ(drive_.Flush(*file, kProcess), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_THAT(worker_.Log(), IsEmpty());
  EXPECT_EQ(worker_.ServerFile(u"\\a"), std::nullopt);
}

TEST_F(RemoveTest, AnUnlinkedOpenFilesNameIsFree) {
  const FileHandle old_file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(old_file, 0, "old"), DriveError::kNone);
  EXPECT_EQ(drive_.RemoveFile(u"\\a", kProcess), DriveError::kNone);
  EXPECT_EQ(drive_.Look(u"\\a").error, DriveError::kNotFound);
  EXPECT_THAT(NamesIn(u"\\"), IsEmpty());
  const FileHandle new_file = CreateFileAt(u"\\a");
  EXPECT_EQ(WriteTo(new_file, 0, "new"), DriveError::kNone);
  EXPECT_EQ(CloseFile(old_file), DriveError::kNone);
  EXPECT_EQ(drive_.Look(u"\\a").value.size, 3);
  EXPECT_EQ(CloseFile(new_file), DriveError::kNone);
  EXPECT_EQ(worker_.ServerFile(u"\\a"), "new");
}

TEST_F(RemoveTest, AFileThatWasMadeAndNeverSentIsRemovedWithoutAsking) {
  const FileHandle file = CreateFileAt(u"\\a");
  EXPECT_EQ(drive_.RemoveFile(u"\\a", kProcess), DriveError::kNone);
  EXPECT_EQ(CloseFile(file), DriveError::kNone);
  EXPECT_THAT(Deletes(), IsEmpty());
  EXPECT_THAT(worker_.ServerTree(), IsEmpty());
}

TEST_F(RemoveTest, BlocksAndCompletionOfAnEarlierFileComeBeforeItsDelete) {
  WriteFile(u"\\a", "x");
  EXPECT_EQ(drive_.RemoveFile(u"\\a", kProcess), DriveError::kNone);
  std::vector<MajorCode> order;
  for (const AskedRequest& asked : worker_.Log()) {
    if (asked.IsBlock() || asked.IsCompletion() || asked.major == MajorCode::kDelete) {
      order.push_back(asked.major);
    }
  }
  EXPECT_THAT(order, ElementsAre(MajorCode::kBackup, MajorCode::kBackup, MajorCode::kDelete));
}

}  // namespace
}  // namespace zv::testing
