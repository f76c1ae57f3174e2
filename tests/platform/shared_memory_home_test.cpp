// What only the block on Linux promises.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/shared_memory.h"
#include "platform/shared_memory_testing.h"
#include "tests/platform/system_fixture.h"

namespace zv {
namespace {

volatile unsigned char* Bytes() { return static_cast<unsigned char*>(SharedMemory()); }

TEST(SharedMemoryHomeTest, EachHomeHasItsOwnBlockAtTheSameAddress) {
  const testing::TemporaryHome first;
  volatile unsigned char* const bytes = Bytes();
  bytes[7] = 1;
  const testing::TemporaryHome second;
  EXPECT_EQ(Bytes(), bytes);
  EXPECT_EQ(bytes[7], 0);
  testing::UseHome(first.name());
  EXPECT_EQ(bytes[7], 1);
  testing::UseHome(second.name());
}

TEST(SharedMemoryHomeTest, AHomeSpelledOtherwiseHasTheSameBlock) {
  const testing::TemporaryHome home;
  const testing::TemporaryHome other;
  const std::string link = other.name() + "/link";
  std::filesystem::create_directory_symlink(home.name(), link);
  testing::UseHome(home.name());
  Bytes()[7] = 1;
  for (const std::string& spelling :
       {link, home.name() + "/./",
        home.name() + "/../" + home.name().substr(home.name().rfind('/') + 1),
        std::filesystem::relative(home.name()).string()}) {
    testing::UseHome(other.name());
    EXPECT_EQ(Bytes()[7], 0);
    testing::UseHome(spelling);
    EXPECT_EQ(Bytes()[7], 1) << spelling;
  }
  testing::UseHome(other.name());
}

TEST(SharedMemoryHomeTest, ARemovedBlockStartsAnew) {
  const testing::TemporaryHome home;
  Bytes()[7] = 1;
  testing::RemoveSharedMemory();
  EXPECT_EQ(Bytes()[7], 1);
  testing::UseHome(home.name());
  EXPECT_EQ(Bytes()[7], 0);
}

}  // namespace
}  // namespace zv
