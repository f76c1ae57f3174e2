#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>

#include "platform/clock_testing.h"
#include "platform/error.h"
#include "platform/file.h"
#include "tests/platform/test_folder.h"

namespace zv {
namespace {

class FileTreeTest : public ::testing::Test {
 protected:
  void Put(TextView leaf, std::string_view bytes) {
    File::Open(folder_ / leaf, Access::kWrite, Disposition::kCreateAlways).Write(bytes);
  }
  std::string Get(TextView leaf) {
    return File::Open(folder_ / leaf, Access::kRead, Disposition::kOpenExisting).ReadAll();
  }
  std::vector<Text> Names() {
    std::vector<Text> names;
    for (const FileInfo& info : ListFolder(folder_.path())) names.push_back(info.name);
    std::sort(names.begin(), names.end());
    return names;
  }

  testing::TestFolder folder_;
};

TEST_F(FileTreeTest, FindPathTellsNameKindSizeAndTime) {
  const FileTime before = SystemTime();
  Put(u"Some.File", "12345");
  const auto info = FindPath(folder_ / u"Some.File");
  ASSERT_TRUE(info);
  EXPECT_EQ(info->name, u"Some.File");
  EXPECT_FALSE(info->is_folder);
  EXPECT_EQ(info->size, 5);
  // File systems may keep times to 2 seconds, and take them from a coarse clock.
  const auto unit = static_cast<uint64_t>(kFileTimeUnitsPerSecond);
  EXPECT_GT(info->last_write.value, before.value - 3 * unit);
  EXPECT_LT(info->last_write.value, SystemTime().value + 3 * unit);
}

TEST_F(FileTreeTest, FindPathTellsFolders) {
  ASSERT_TRUE(MakeFolders(folder_ / u"Sub"));
  for (const TextView spelling : {u"Sub", u"Sub\\"}) {
    const auto info = FindPath(folder_ / spelling);
    ASSERT_TRUE(info);
    EXPECT_TRUE(info->is_folder);
    EXPECT_EQ(info->size, 0);
  }
  EXPECT_TRUE(FindPath(u"C:\\")->is_folder);
}

TEST_F(FileTreeTest, FindPathOfNothingIsNothing) {
  EXPECT_FALSE(FindPath(folder_ / u"none"));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
  EXPECT_FALSE(FindPath(folder_ / u"none\\deeper"));
  EXPECT_FALSE(FindPath(folder_ / u"*"));
}

TEST_F(FileTreeTest, FindPathTellsTheSizeOfAFileThatIsOpen) {
  File file = File::Open(folder_ / u"a", Access::kWrite, Disposition::kCreateAlways);
  file.Write("123");
  EXPECT_EQ(FindPath(folder_ / u"a")->size, 3);
}

TEST_F(FileTreeTest, ListFolderGivesFilesAndFoldersButNoDots) {
  Put(u"b.txt", "12");
  Put(u"A", "");
  ASSERT_TRUE(MakeFolders(folder_ / u"c\\inner"));
  EXPECT_EQ(Names(), (std::vector<Text>{u"A", u"b.txt", u"c"}));
  for (const FileInfo& info : ListFolder(folder_.path() + u"\\")) {
    EXPECT_EQ(info.is_folder, info.name == u"c");
    EXPECT_EQ(info.size, info.name == u"b.txt" ? 2 : 0);
  }
}

TEST_F(FileTreeTest, ListFolderOfNothingIsEmpty) {
  EXPECT_TRUE(ListFolder(folder_ / u"none").empty());
  ASSERT_TRUE(MakeFolders(folder_ / u"empty"));
  EXPECT_TRUE(ListFolder(folder_ / u"empty").empty());
  Put(u"file", "");
  EXPECT_TRUE(ListFolder(folder_ / u"file").empty());
}

TEST_F(FileTreeTest, NamesOfEveryKindComeBackAsTheyWent) {
  const std::vector<Text> names = {u"!#$%&'()+,;=@[]^_`{}~ x", u"\u00E9\u20AC", u"\u4E2D\u6587",
                                   u"\U0001F600"};
  for (const Text& name : names) Put(name, "x");
  EXPECT_EQ(Names(), names);
}

TEST_F(FileTreeTest, MoveToNewMoves) {
  Put(u"a", "1");
  EXPECT_TRUE(MoveToNew(folder_ / u"a", folder_ / u"b"));
  EXPECT_EQ(Names(), std::vector<Text>{u"b"});
  EXPECT_EQ(Get(u"b"), "1");
}

TEST_F(FileTreeTest, MoveToNewNeverReplaces) {
  Put(u"a", "1");
  Put(u"b", "2");
  EXPECT_FALSE(MoveToNew(folder_ / u"a", folder_ / u"b"));
  EXPECT_EQ(LastError(), kErrorAlreadyExists);
  EXPECT_FALSE(MoveToNew(folder_ / u"a", folder_ / u"B"));
  EXPECT_EQ(LastError(), kErrorAlreadyExists);
  EXPECT_EQ(Get(u"a"), "1");
  EXPECT_EQ(Get(u"b"), "2");
}

TEST_F(FileTreeTest, MoveToNewNeedsTheSourceAndTheTargetFolder) {
  EXPECT_FALSE(MoveToNew(folder_ / u"none", folder_ / u"b"));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
  Put(u"a", "1");
  EXPECT_FALSE(MoveToNew(folder_ / u"a", folder_ / u"none\\b"));
  EXPECT_EQ(Get(u"a"), "1");
}

TEST_F(FileTreeTest, MoveToNewMovesFolders) {
  ASSERT_TRUE(MakeFolders(folder_ / u"x\\y"));
  Put(u"x\\y\\a", "1");
  EXPECT_TRUE(MoveToNew(folder_ / u"x", folder_ / u"z"));
  EXPECT_EQ(Get(u"z\\y\\a"), "1");
  ASSERT_TRUE(MakeFolders(folder_ / u"w"));
  EXPECT_FALSE(MoveToNew(folder_ / u"z", folder_ / u"w"));
}

TEST_F(FileTreeTest, MovesToAnotherCaseOfTheSameName) {
  Put(u"name.txt", "1");
  EXPECT_TRUE(MoveToNew(folder_ / u"name.txt", folder_ / u"Name.TXT"));
  EXPECT_TRUE(MoveToNew(folder_ / u"NAME.txt", folder_ / u"NAME.txt"));
  EXPECT_TRUE(MoveOver(folder_ / u"Name.txt", folder_ / u"nAME.txt"));
  ASSERT_EQ(Names().size(), 1u);
  EXPECT_TRUE(EqualsNoCase(Names()[0], u"name.txt"));
  EXPECT_EQ(Get(u"name.txt"), "1");
}

TEST_F(FileTreeTest, MoveOverReplacesAFile) {
  Put(u"a", "new");
  Put(u"b", "old and long");
  EXPECT_TRUE(MoveOver(folder_ / u"a", folder_ / u"b"));
  EXPECT_EQ(Names(), std::vector<Text>{u"b"});
  EXPECT_EQ(Get(u"b"), "new");
  Put(u"c", "newer");
  EXPECT_TRUE(MoveOver(folder_ / u"C", folder_ / u"B"));
  EXPECT_EQ(Get(u"b"), "newer");
  EXPECT_EQ(Names().size(), 1u);
}

TEST_F(FileTreeTest, MoveOverReplacesAFileThatSomebodyReadsForAMoment) {
  Put(u"a", "1");
  Put(u"b", "2");
  std::optional<File> reader =
      File::Open(folder_ / u"b", Access::kRead, Disposition::kOpenExisting);
  const testing::VirtualClock clock([&](uint32_t) { reader.reset(); });
  EXPECT_TRUE(MoveOver(folder_ / u"a", folder_ / u"b"));
  EXPECT_EQ(Get(u"b"), "1");
}

TEST_F(FileTreeTest, MoveOverMovesWhereNothingIs) {
  Put(u"a", "1");
  EXPECT_TRUE(MoveOver(folder_ / u"a", folder_ / u"b"));
  EXPECT_EQ(Names(), std::vector<Text>{u"b"});
  EXPECT_EQ(Get(u"b"), "1");
}

TEST_F(FileTreeTest, MoveOverReplacesNoFolder) {
  Put(u"a", "1");
  ASSERT_TRUE(MakeFolders(folder_ / u"b"));
  EXPECT_FALSE(MoveOver(folder_ / u"a", folder_ / u"b"));
  EXPECT_EQ(Get(u"a"), "1");
  EXPECT_FALSE(MoveOver(folder_ / u"none", folder_ / u"c"));
}

TEST_F(FileTreeTest, CopyOverCopiesAndReplaces) {
  const std::string bytes(300'000, 'x');
  Put(u"a", bytes);
  EXPECT_TRUE(CopyOver(folder_ / u"a", folder_ / u"b"));
  EXPECT_EQ(Get(u"b"), bytes);
  Put(u"c", "short");
  EXPECT_TRUE(CopyOver(folder_ / u"c", folder_ / u"b"));
  EXPECT_EQ(Get(u"b"), "short");
  EXPECT_EQ(Get(u"c"), "short");
}

TEST_F(FileTreeTest, CopyOverKeepsTheLastWriteTime) {
  Put(u"a", "1");
  const auto long_ago =
      std::filesystem::last_write_time(folder_.native() / "a") - std::chrono::hours(1000);
  std::filesystem::last_write_time(folder_.native() / "a", long_ago);
  EXPECT_TRUE(CopyOver(folder_ / u"a", folder_ / u"b"));
  EXPECT_EQ(ToSeconds(FindPath(folder_ / u"b")->last_write),
            ToSeconds(FindPath(folder_ / u"a")->last_write));
  EXPECT_LT(FindPath(folder_ / u"b")->last_write, SystemTime());
}

TEST_F(FileTreeTest, CopyOverRefusesAFileOntoItselfAndAFolder) {
  Put(u"a", "kept");
  EXPECT_FALSE(CopyOver(folder_ / u"a", folder_ / u"A"));
  EXPECT_EQ(Get(u"a"), "kept");
  ASSERT_TRUE(MakeFolders(folder_ / u"sub"));
  EXPECT_FALSE(CopyOver(folder_ / u"sub", folder_ / u"b"));
  EXPECT_FALSE(CopyOver(folder_ / u"none", folder_ / u"b"));
  EXPECT_FALSE(FileExists(folder_ / u"b"));
}

TEST_F(FileTreeTest, RemoveFileRemovesFilesOnly) {
  Put(u"a", "1");
  EXPECT_TRUE(RemoveFile(folder_ / u"A"));
  EXPECT_FALSE(FileExists(folder_ / u"a"));
  EXPECT_FALSE(RemoveFile(folder_ / u"a"));
  EXPECT_EQ(LastError(), kErrorFileNotFound);
  ASSERT_TRUE(MakeFolders(folder_ / u"sub"));
  EXPECT_FALSE(RemoveFile(folder_ / u"sub"));
  EXPECT_TRUE(FileExists(folder_ / u"sub"));
}

TEST_F(FileTreeTest, MakeFoldersMakesEveryParentAndIsContentWithThem) {
  EXPECT_TRUE(MakeFolders(folder_ / u"x\\y\\z\\"));
  EXPECT_TRUE(FindPath(folder_ / u"x\\y\\z")->is_folder);
  EXPECT_TRUE(MakeFolders(folder_ / u"X\\Y\\Z"));
  EXPECT_EQ(Names(), std::vector<Text>{u"x"});
}

TEST_F(FileTreeTest, MakeFoldersFailsOverAFile) {
  Put(u"a", "1");
  EXPECT_FALSE(MakeFolders(folder_ / u"a"));
  EXPECT_FALSE(MakeFolders(folder_ / u"a\\b"));
  EXPECT_EQ(Get(u"a"), "1");
}

TEST_F(FileTreeTest, FreeSpaceIsToldForWhatIsStillToBeMade) {
  const auto space = FreeSpace(folder_.path());
  ASSERT_TRUE(space);
  EXPECT_GT(*space, 0u);
  EXPECT_TRUE(FreeSpace(folder_ / u"no\\such\\file"));
  Put(u"a", "1");
  EXPECT_TRUE(FreeSpace(folder_ / u"a"));
}

}  // namespace
}  // namespace zv
