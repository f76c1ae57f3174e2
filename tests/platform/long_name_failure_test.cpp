// Long names whose true name the disk does not take.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/error.h"
#include "platform/file.h"
#include "platform/shared/stored_name.h"
#include "tests/platform/test_folder.h"
#include "tests/support/full_disk.h"

namespace zv {
namespace {

namespace fs = std::filesystem;

class LongNameFailureTest : public ::testing::Test {
 protected:
  LongNameFailureTest() {
    File::Open(folder_ / u"short", Access::kWrite, Disposition::kCreateAlways).Write("1");
  }

  // Each way in which a file or folder of that name comes to be fails with this error.
  void ExpectNothingIsMade(int error) {
    const Text target = folder_ / long_name_;
    const auto told = [error] { return LastError() == static_cast<uint32_t>(error); };
    EXPECT_FALSE(File::Open(target, Access::kWrite, Disposition::kCreateAlways));
    EXPECT_TRUE(told()) << LastError();
    EXPECT_FALSE(File::Open(target, Access::kReadWrite, Disposition::kOpenAlways));
    EXPECT_TRUE(told()) << LastError();
    EXPECT_FALSE(MoveToNew(folder_ / u"short", target));
    EXPECT_TRUE(told()) << LastError();
    EXPECT_FALSE(MoveOver(folder_ / u"short", target));
    EXPECT_TRUE(told()) << LastError();
    EXPECT_FALSE(CopyOver(folder_ / u"short", target));
    EXPECT_TRUE(told()) << LastError();
    EXPECT_FALSE(MakeFolders(target));
    EXPECT_TRUE(told()) << LastError();
    EXPECT_FALSE(FileExists(target));
    EXPECT_TRUE(FileExists(folder_ / u"short"));
  }
  // What the folder holds beside that.
  std::vector<std::string> TrueNames() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(true_names_)) {
      names.push_back(entry.path().filename());
    }
    return names;
  }

  testing::TestFolder folder_;
  const fs::path true_names_ = folder_.native() / ".zvnames";
  const Text long_name_ = u"file#ZV#" + Text(400, u'\u4E2D') + u"#Ende#";
};

TEST_F(LongNameFailureTest, AFullDiskMakesNothing) {
  const testing::FullDisk full(100);
  ExpectNothingIsMade(EFBIG);
  EXPECT_TRUE(TrueNames().empty());
}

TEST_F(LongNameFailureTest, WithoutAFolderOfTrueNamesNothingIsMade) {
  std::ofstream(true_names_) << "no folder";
  ExpectNothingIsMade(ENOTDIR);
}

TEST_F(LongNameFailureTest, ATrueNameThatCannotTakeItsPlaceDoesNotStayAside) {
  const fs::path in_the_way = true_names_ / StoredNameOf(long_name_);
  fs::create_directories(in_the_way);
  ExpectNothingIsMade(EISDIR);
  EXPECT_EQ(TrueNames(), std::vector<std::string>{in_the_way.filename()});
}

TEST_F(LongNameFailureTest, ANameThatIsKeptAlreadyNeedsNoRoom) {
  ASSERT_TRUE(CopyOver(folder_ / u"short", folder_ / long_name_));
  const testing::FullDisk full(100);
  EXPECT_TRUE(CopyOver(folder_ / u"short", folder_ / long_name_));
  EXPECT_TRUE(MoveOver(folder_ / u"short", folder_ / long_name_));
  EXPECT_EQ(ListFolder(folder_.path())[0].name, long_name_);
}

}  // namespace
}  // namespace zv
