// What the kernel's FUSE device exchanges about reads that it passes through.
#include "platform/posix/fuse_records.h"

#include <gtest/gtest.h>

#include <string>

namespace zv::testing {
namespace {

using namespace std::string_literals;

std::span<const std::byte> Bytes(const std::string& text) { return std::as_bytes(std::span(text)); }
std::span<std::byte> Writable(std::string& text) { return std::as_writable_bytes(std::span(text)); }

std::string Header(char opcode) {
  return "\x68\0\0\0"s + opcode + "\0\0\0"s + "\2\0\0\0\0\0\0\0"s + std::string(24, '\0');
}
// Version 7.45, 128 KiB ahead, and the flags.
std::string Init(const std::string& flags, const std::string& flags2) {
  return "\7\0\0\0\x2D\0\0\0\0\0\2\0"s + flags + flags2 + std::string(44, '\0');
}
const std::string kExtended = "\0\0\0\x40"s;
const std::string kOffer = "\x20\0\0\0"s;

TEST(FuseRecords, AWriteSaysHowManyBytesItBrings) {
  const std::string write =
      "\1\0\0\0\0\0\0\0"s + "\0\0\x10\0\0\0\0\0"s + "\0\2\1\0"s + std::string(20, '\0');
  EXPECT_EQ(BytesOfWrite(Bytes(Header(16) + write)), 0x10200U);
  EXPECT_EQ(BytesOfWrite(Bytes(Header(15) + write)), 0U);
  EXPECT_EQ(BytesOfWrite(Bytes((Header(16) + write).substr(0, 79))), 0U);
}

TEST(FuseRecords, TheKernelOffersPassthroughInTheFirstRequest) {
  EXPECT_TRUE(OffersPassthrough(Bytes(Header(26) + Init(kExtended, kOffer))));
  EXPECT_FALSE(OffersPassthrough(Bytes(Header(26) + Init(kExtended, "\xDF\xFF\xFF\xFF"s))));
  // The second half of the flags counts only when the first one says so.
  EXPECT_FALSE(OffersPassthrough(Bytes(Header(26) + Init("\0\0\0\0"s, kOffer))));
  EXPECT_FALSE(OffersPassthrough(Bytes(Header(14) + Init(kExtended, kOffer))));
}

TEST(FuseRecords, AnOldKernelsFirstRequestOffersNothing) {
  EXPECT_FALSE(OffersPassthrough(Bytes(Header(26) + Init(kExtended, kOffer).substr(0, 16))));
  EXPECT_FALSE(OffersPassthrough(Bytes(Header(26).substr(0, 39))));
  EXPECT_FALSE(OffersPassthrough({}));
}

TEST(FuseRecords, AcceptingSetsTheFlagAndTheDepthAndNothingElse) {
  std::string reply =
      "\7\0\0\0\x26\0\0\0\0\0\x10\0\1\2\3\4\x0C\0\x09\0\0\0\x10\0\1\0\0\0\0\1\0\0"s + "\1\0\0\0"s +
      std::string(28, '\0');
  ASSERT_EQ(reply.size(), 64U);
  std::string expected = reply;
  expected[15] = '\x44';
  expected[32] = '\x21';
  expected[36] = '\x01';
  EXPECT_TRUE(AcceptPassthrough(Writable(reply)));
  EXPECT_EQ(reply, expected);
}

TEST(FuseRecords, AnOldKernelsReplyIsLeftAlone) {
  std::string reply(24, '\1');
  EXPECT_FALSE(AcceptPassthrough(Writable(reply)));
  EXPECT_EQ(reply, std::string(24, '\1'));
}

TEST(FuseRecords, AnOpenThatIsPassedThroughNamesItsFile) {
  std::string reply = "\1\2\3\4\5\6\7\x08\x11\0\0\0\0\0\0\0"s;
  const std::string expected = "\1\2\3\4\5\6\7\x08\x91\0\0\0\4\3\2\1"s;
  std::string create = std::string(128, '\1') + reply;
  EXPECT_TRUE(PassThrough(Writable(reply), 0x01020304));
  EXPECT_EQ(reply, expected);
  EXPECT_TRUE(PassThrough(Writable(create), 0x01020304));
  EXPECT_EQ(create, std::string(128, '\1') + expected);
  std::string other(12, '\0');
  EXPECT_FALSE(PassThrough(Writable(other), 1));
}

TEST(FuseRecords, TheDevicesCallsHaveTheKernelsNumbers) {
  EXPECT_EQ(kFuseBackingOpen, 0x4010E501UL);
  EXPECT_EQ(kFuseBackingClose, 0x4004E502UL);
}

}  // namespace
}  // namespace zv::testing
