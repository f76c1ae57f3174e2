#include <cerrno>

#include "tests/platform/long_name_failure_fixture.h"
#include "tests/support/full_disk.h"

namespace zv::testing {
namespace {

class LongNameOnAFullDiskTest : public LongNameFailureTest {};

TEST_F(LongNameOnAFullDiskTest, MakesNothing) {
  const FullDisk full(100);
  ExpectNothingIsMade(EFBIG);
  EXPECT_TRUE(TrueNames().empty());
}

TEST_F(LongNameOnAFullDiskTest, NeedsNoRoomWhenItIsKeptAlready) {
  ASSERT_TRUE(CopyOver(folder_ / u"short", folder_ / long_name_));
  const FullDisk full(100);
  EXPECT_TRUE(CopyOver(folder_ / u"short", folder_ / long_name_));
  EXPECT_TRUE(MoveOver(folder_ / u"short", folder_ / long_name_));
  EXPECT_EQ(ListFolder(folder_.path())[0].name, long_name_);
}

}  // namespace
}  // namespace zv::testing
