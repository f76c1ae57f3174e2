// What the server holds, compared with what was sent.
#include "cache/time_file.h"
#include "tests/upload/upload_fixture.h"

namespace zv::testing {
namespace {

using VerifyTest = UploadTest;

TEST_F(VerifyTest, EqualLengthsAreTracedAndTheTimeIsStored) {
  server_.On([](const Request&) {
    return Reply::Status(200).Header("Last-Modified", kTimeText).Body("12345");
  });
  EXPECT_TRUE(client_.VerifyBkpFile(kResource, 5));
  FileTime time;
  EXPECT_TRUE(GetFileTimeEntry(CacheNames(), kResource, &time));
  EXPECT_EQ(time, kTime);
  EXPECT_TRUE(TraceHas(u"Started making an Upload verify call"));
  EXPECT_TRUE(TraceHas(
      u"Proper file sizes read in VerifyBackup \t\t\t\tfunction for file /big.bin as local: 5 and "
      u"remote: 5"));
  EXPECT_TRUE(TraceHas(u"Finished making an Upload verify call"));
}

TEST_F(VerifyTest, OtherLengthsAreFalseWithoutALineOfTheirOwn) {
  server_.On([](const Request&) { return Reply::Status(200).Body("1234"); });
  EXPECT_FALSE(client_.VerifyBkpFile(kResource, 5));
  EXPECT_EQ(CountInTrace(u"Proper file sizes"), 0U);
  EXPECT_TRUE(TraceHas(u"Finished making an Upload verify call"));
  FileTime time;
  EXPECT_FALSE(GetFileTimeEntry(CacheNames(), kResource, &time));
}

TEST_F(VerifyTest, AFailedQueryCountsAsLength0) {
  EXPECT_FALSE(client_.VerifyBkpFile(kResource, 5));
  EXPECT_TRUE(client_.VerifyBkpFile(kResource, 0));
  EXPECT_EQ(CountInTrace(u"Error calling SendDAVRequest for File Verification\r\n"), 2U);
}

TEST_F(VerifyTest, AFileOf4GibNeverVerifies) {
  constexpr int64_t kLong = (int64_t{1} << 32) + 5;
  server_.On([](const Request&) { return Reply::Status(200).LongBody(kLong).StallAfter(0); });
  EXPECT_FALSE(client_.VerifyBkpFile(kResource, kLong));
  // Its low 32 bits are what is compared.
  EXPECT_TRUE(client_.VerifyBkpFile(kResource, 5));
}

TEST_F(VerifyTest, ALengthOf4GibLess1Verifies) {
  constexpr int64_t kLong = (int64_t{1} << 32) - 1;
  server_.On([](const Request&) { return Reply::Status(200).LongBody(kLong).StallAfter(0); });
  EXPECT_TRUE(client_.VerifyBkpFile(kResource, kLong));
}

}  // namespace
}  // namespace zv::testing
