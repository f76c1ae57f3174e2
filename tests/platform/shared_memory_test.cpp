#include "platform/shared_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "tests/platform/second_process.h"
#include "tests/platform/system_fixture.h"

namespace zv {
namespace {

constexpr size_t kQuestion = 16;
constexpr size_t kAnswer = kSharedMemorySize - 1;
constexpr unsigned char kAsked = 0x5A;
constexpr unsigned char kAnswered = 0xA5;

volatile unsigned char* Bytes() { return static_cast<unsigned char*>(SharedMemory()); }

bool IsZero() {
  const auto* bytes = Bytes();
  return std::all_of(bytes, bytes + kSharedMemorySize,
                     [](unsigned char byte) { return byte == 0; });
}

class SharedMemoryTest : public ::testing::Test {
 protected:
  ~SharedMemoryTest() override { std::fill_n(Bytes(), kSharedMemorySize, 0); }
  const testing::TemporaryHome home_;
};

TEST_F(SharedMemoryTest, IsZeroAtFirst) { EXPECT_TRUE(IsZero()); }

TEST_F(SharedMemoryTest, IsOneAlignedAddress) {
  EXPECT_EQ(SharedMemory(), SharedMemory());
  EXPECT_EQ(reinterpret_cast<uintptr_t>(SharedMemory()) % alignof(std::max_align_t), 0u);
}

TEST_F(SharedMemoryTest, AnotherProcessSharesTheBytesBothWays) {
  Bytes()[kQuestion] = kAsked;
  testing::SecondProcess child({"answer_in_shared_memory", home_.name()});
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(Bytes()[kAnswer], kAnswered);
  EXPECT_EQ(Bytes()[kQuestion], kAsked);
}

}  // namespace

int testing::AnswerInSharedMemory(const std::vector<std::string>& arguments) {
  UseHome(arguments.at(0));
  if (Bytes()[kQuestion] != kAsked) return 1;
  Bytes()[kAnswer] = kAnswered;
  return 0;
}

}  // namespace zv
