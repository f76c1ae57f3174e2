// The remembered names of folders when memory runs out, wherever it does.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include "platform/posix/folder_index.h"
#include "tests/platform/test_folder.h"
#include "tests/support/failing_memory.h"

namespace zv {
namespace {

using testing::FailingAllocation;
using testing::TestFolder;

// Names too long to be stored without an allocation of their own.
std::string LowerName(size_t number) { return "a name of some length " + std::to_string(number); }
std::string UpperName(size_t number) { return "A NAME OF SOME LENGTH " + std::to_string(number); }

class FolderIndexFailureTest : public ::testing::Test {
 protected:
  std::filesystem::path MakeFolder(const std::string& name) {
    const auto folder = folder_.native() / name;
    std::filesystem::create_directory(folder);
    return folder;
  }

  // False when the look-up needed no allocation of this number.
  static bool LookUpFailingAt(size_t number, const std::string& folder, const std::string& name) {
    const FailingAllocation failing(number, testing::ThrowNoMemory);
    try {
      FindNameNoCase(folder, name);
    } catch (const std::bad_alloc&) {
    }
    return failing.happened();
  }

  TestFolder folder_;
};

TEST_F(FolderIndexFailureTest, AFolderThatWasReadInPartIsReadAnew) {
  constexpr size_t kFiles = 3;
  size_t number = 0;
  for (bool failed = true; failed; ++number) {
    const auto folder = MakeFolder(std::to_string(number));
    for (size_t i = 0; i < kFiles; ++i) std::ofstream(folder / LowerName(i)) << i;
    failed = LookUpFailingAt(number, folder, UpperName(0));
    for (size_t i = 0; i < kFiles; ++i) {
      EXPECT_EQ(FindNameNoCase(folder, UpperName(i)), LowerName(i)) << "allocation " << number;
    }
  }
  EXPECT_GT(number, 2 * kFiles);
}

TEST_F(FolderIndexFailureTest, ChangesThatWereReportedMeanwhileAreNotLost) {
  const auto folder = MakeFolder("watched");
  std::ofstream(folder / LowerName(0)) << 0;
  size_t number = 0;
  for (bool failed = true; failed; ++number) {
    ASSERT_EQ(FindNameNoCase(folder, UpperName(number)), LowerName(number));
    std::ofstream(folder / LowerName(number + 1)) << number;
    std::filesystem::remove(folder / LowerName(number));
    failed = LookUpFailingAt(number, folder, UpperName(number));
    EXPECT_EQ(FindNameNoCase(folder, UpperName(number)), std::nullopt) << "allocation " << number;
    EXPECT_EQ(FindNameNoCase(folder, UpperName(number + 1)), LowerName(number + 1))
        << "allocation " << number;
  }
  EXPECT_GT(number, 2u);
}

}  // namespace
}  // namespace zv
