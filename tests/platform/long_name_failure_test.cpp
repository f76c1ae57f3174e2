#include <filesystem>
#include <fstream>

#include "platform/shared/stored_name.h"
#include "tests/platform/long_name_failure_fixture.h"

namespace zv::testing {
namespace {

namespace fs = std::filesystem;

TEST_F(LongNameFailureTest, WithoutAFolderOfTrueNamesNothingIsMade) {
  std::ofstream(true_names_) << "no folder";
  ExpectNothingIsMade(kErrorPathNotFound);
}

TEST_F(LongNameFailureTest, ATrueNameThatCannotTakeItsPlaceDoesNotStayAside) {
  ASSERT_TRUE(MakeFolders(folder_ / u"in the way"));
  ASSERT_FALSE(MoveOver(folder_ / u"short", folder_ / u"in the way"));
  const uint32_t refused = TakeLastError();
  const fs::path in_the_way = true_names_ / StoredNameOf(long_name_);
  fs::create_directories(in_the_way);
  ExpectNothingIsMade(refused);
  EXPECT_EQ(TrueNames(), std::vector<std::string>{in_the_way.filename().string()});
}

}  // namespace
}  // namespace zv::testing
