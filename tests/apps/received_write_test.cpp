// Requests as they come from the kernel: where their bytes end up.
#include "apps/zvdrive/fuse/received_write.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/fuse_records.h"
#include "platform/posix/unique_fd.h"

namespace zv::testing {
namespace {

constexpr uint32_t kLookup = 1;
constexpr uint32_t kSetAttribute = 21;

std::string Bytes(size_t count) {
  std::string text(count, '\0');
  for (size_t i = 0; i < count; ++i) text[i] = static_cast<char>(i * 31 + (i >> 8));
  return text;
}

class ReceivedWriteTest : public ::testing::Test {
 protected:
  // Reads the request from a file in the device's place, into a buffer that holds something else.
  ptrdiff_t Receive(uint32_t opcode, const std::string& body) {
    std::string request(sizeof(FuseRequestHeader), '\0');
    FuseRequestHeader header{};
    header.length = static_cast<uint32_t>(request.size() + body.size());
    header.opcode = opcode;
    header.unique = 2;
    std::memcpy(request.data(), &header, sizeof header);
    request += body;
    const UniqueFd device(::memfd_create("device", MFD_CLOEXEC));
    EXPECT_EQ(::pwrite(device.get(), request.data(), request.size(), 0),
              static_cast<ssize_t>(request.size()));
    sent_ = request;
    return ReceiveRequest(device.get(), std::as_writable_bytes(std::span(buffer_)));
  }
  ptrdiff_t ReceiveWrite(const std::string& bytes) {
    FuseWriteRequest write{};
    write.handle = 1;
    write.size = static_cast<uint32_t>(bytes.size());
    std::string body(sizeof write, '\0');
    std::memcpy(body.data(), &write, sizeof write);
    return Receive(kFuseWrite, body + bytes);
  }
  std::string_view Buffer() const { return std::string_view(buffer_.data(), sent_.size()); }

  std::vector<char> buffer_ = std::vector<char>((1 << 20) + 4096, 'x');
  std::string sent_;
};

TEST_F(ReceivedWriteTest, ALargeOneLiesInABlock) {
  const std::string bytes = Bytes(1 << 20);
  EXPECT_EQ(ReceiveWrite(bytes), (1 << 20) + 80);
  ASSERT_NE(ReceivedWrite(), nullptr);
  const auto block = (*ReceivedWrite())->bytes();
  EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(block.data()), block.size()), bytes);
  EXPECT_EQ(Buffer().substr(0, 80), sent_.substr(0, 80));
  EXPECT_EQ(reinterpret_cast<uintptr_t>(block.data()) % 4096, 0u);
}

TEST_F(ReceivedWriteTest, ASmallOneLiesInTheLibrarysBuffer) {
  EXPECT_EQ(ReceiveWrite(Bytes(65535)), 65535 + 80);
  EXPECT_EQ(ReceivedWrite(), nullptr);
  EXPECT_EQ(Buffer(), sent_);
}

TEST_F(ReceivedWriteTest, OtherRequestsLieThereWhole) {
  for (const size_t size : {0, 1, 39, 40, 41, 4096, 65536, 1 << 20, (1 << 20) + 4096 - 40}) {
    EXPECT_EQ(Receive(size < 4096 ? kLookup : kSetAttribute, Bytes(size)),
              static_cast<ptrdiff_t>(40 + size));
    EXPECT_EQ(ReceivedWrite(), nullptr);
    EXPECT_TRUE(Buffer() == sent_) << size;
  }
}

TEST_F(ReceivedWriteTest, ABlockThatIsTakenIsReplacedByTheNextRequest) {
  ReceiveWrite(Bytes(1 << 20));
  const WriteBlockPtr taken = std::exchange(*ReceivedWrite(), nullptr);
  const std::string other = Bytes(1 << 19);
  ReceiveWrite(other);
  ASSERT_NE(ReceivedWrite(), nullptr);
  EXPECT_NE(*ReceivedWrite(), taken);
  EXPECT_EQ((*ReceivedWrite())->bytes().size(), other.size());
  EXPECT_EQ(taken->bytes().size(), 1u << 20);
}

TEST_F(ReceivedWriteTest, AWriteIsForgottenWithTheNextRequest) {
  ReceiveWrite(Bytes(1 << 20));
  ASSERT_NE(ReceivedWrite(), nullptr);
  EXPECT_EQ(ReceiveRequest(-1, std::as_writable_bytes(std::span(buffer_))), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(ReceivedWrite(), nullptr);
}

TEST_F(ReceivedWriteTest, ALibraryWithASmallBufferGetsItAll) {
  buffer_.resize(100000);
  EXPECT_EQ(ReceiveWrite(Bytes(70000)), 70080);
  EXPECT_EQ(ReceivedWrite(), nullptr);
  EXPECT_EQ(Buffer(), sent_);
}

}  // namespace
}  // namespace zv::testing
