#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "platform/file.h"
#include "platform/shared/stored_name.h"
#include "tests/platform/test_folder.h"

namespace zv {
namespace {

class LongNameTest : public ::testing::Test {
 protected:
  void Put(TextView leaf, std::string_view bytes) {
    File::Open(folder_ / leaf, Access::kWrite, Disposition::kCreateAlways).Write(bytes);
  }
  std::string Get(TextView leaf) {
    return File::Open(folder_ / leaf, Access::kRead, Disposition::kOpenExisting).ReadAll();
  }
  size_t CountNative(TextView folder = u".") {
    const auto entries = std::filesystem::directory_iterator(folder_.native() / Text(folder));
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
  }
  bool HasTrueName(TextView name) {
    return std::filesystem::exists(folder_.native() / ".zvnames" / StoredNameOf(name));
  }

  testing::TestFolder folder_;
  const Text long_name_ = u"file#ZV#" + Text(400, u'\u4E2D') + u"#Ende#";
};

TEST_F(LongNameTest, IsListedWhole) {
  Put(long_name_, "1");
  Put(long_name_ + u".time", "2");
  std::vector<Text> names;
  for (const FileInfo& info : ListFolder(folder_.path())) names.push_back(info.name);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<Text>{long_name_, long_name_ + u".time"}));
  EXPECT_EQ(Get(long_name_), "1");
  EXPECT_EQ(Get(long_name_ + u".time"), "2");
}

TEST_F(LongNameTest, IsCaseBlind) {
  Put(long_name_, "1");
  EXPECT_EQ(Get(ToLower(long_name_)), "1");
  Put(ToLower(long_name_), "2");
  EXPECT_EQ(Get(long_name_), "2");
  EXPECT_EQ(FindPath(folder_ / ToLower(long_name_))->name, long_name_);
  EXPECT_EQ(ListFolder(folder_.path()).size(), 1u);
}

TEST_F(LongNameTest, MovesAndChangesItsCase) {
  Put(u"short", "1");
  EXPECT_TRUE(MoveToNew(folder_ / u"short", folder_ / long_name_));
  EXPECT_EQ(ListFolder(folder_.path())[0].name, long_name_);
  EXPECT_TRUE(MoveToNew(folder_ / long_name_, folder_ / ToLower(long_name_)));
  EXPECT_EQ(ListFolder(folder_.path())[0].name, ToLower(long_name_));
  EXPECT_TRUE(MoveToNew(folder_ / long_name_, folder_ / long_name_ + u"2"));
  EXPECT_EQ(ListFolder(folder_.path())[0].name, long_name_ + u"2");
  EXPECT_TRUE(MoveOver(folder_ / long_name_ + u"2", folder_ / u"short"));
  EXPECT_EQ(Get(u"short"), "1");
  EXPECT_EQ(CountNative(), 2u);  // and the folder of true names
}

TEST_F(LongNameTest, LeavesNoTrueNameBehind) {
  Put(long_name_, "1");
  EXPECT_TRUE(CopyOver(folder_ / long_name_, folder_ / long_name_ + u"2"));
  EXPECT_TRUE(HasTrueName(long_name_));
  EXPECT_TRUE(HasTrueName(long_name_ + u"2"));
  EXPECT_TRUE(RemoveFile(folder_ / long_name_));
  EXPECT_TRUE(RemoveFile(folder_ / long_name_ + u"2"));
  EXPECT_FALSE(FileExists(folder_ / long_name_));
  EXPECT_FALSE(HasTrueName(long_name_));
  EXPECT_FALSE(HasTrueName(long_name_ + u"2"));
}

TEST_F(LongNameTest, MayBeAFolder) {
  ASSERT_TRUE(MakeFolders(folder_ / long_name_ + u"\\inner"));
  Put(long_name_ + u"\\inner\\a", "1");
  EXPECT_EQ(Get(long_name_ + u"\\INNER\\a"), "1");
  EXPECT_EQ(ListFolder(folder_.path())[0].name, long_name_);
}

TEST_F(LongNameTest, BeginsWhereTheDiskEnds) {
  Put(Text(255, u'x'), "1");
  EXPECT_EQ(CountNative(), 1u);
  Put(Text(256, u'x'), "2");
  EXPECT_EQ(CountNative(), 3u);  // and the folder of true names
  EXPECT_EQ(Get(Text(255, u'x')), "1");
  EXPECT_EQ(Get(Text(256, u'X')), "2");
}

TEST(StoredName, IsTheSameForEveryCaseAndFitsEveryDisk) {
  const Text name = Text(63, u'A') + u"\U0001F600" + Text(300, u'\u4E2D');
  const Text stored = StoredNameOf(name);
  EXPECT_EQ(stored, StoredNameOf(ToLower(name)));
  EXPECT_EQ(stored.substr(0, 64), Text(63, u'a') + u"~");  // no half of a pair
  EXPECT_LE(ToUtf8(stored).size(), 255u);
  EXPECT_TRUE(LooksStored(TextView(stored)));
  EXPECT_NE(stored, StoredNameOf(name + u"x"));
  EXPECT_FALSE(LooksStored(TextView(u"a~b")));
}

TEST(StoredName, IsFixed) {
  EXPECT_EQ(StoredNameOf(Text(256, u'X')), Text(64, u'x') + u"~7bf39656a2add7717e60c9de3727c58d");
}

}  // namespace
}  // namespace zv
