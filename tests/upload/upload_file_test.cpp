// One attempt to send a file.
#include <atomic>
#include <memory>
#include <tuple>

#include "tests/upload/upload_fixture.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;

class UploadFileTest : public UploadTest {
 protected:
  int16_t retry_count_ = 1;
};

TEST(UploadPieceTest, AFileOfOneChunkGoesInOneWrite) {
  EXPECT_EQ(NextUploadPiece(51200, 0), 51200U);
}

TEST(UploadPieceTest, AFileOfOneByteMoreGoesInTwo) {
  EXPECT_EQ(NextUploadPiece(51201, 0), 51200U);
  EXPECT_EQ(NextUploadPiece(51201, 51200), 1U);
}

TEST(UploadPieceTest, AResumedAttemptMayBeginWithLessThanAChunk) {
  EXPECT_EQ(NextUploadPiece(204800, 204799), 1U);
}

class UploadSizeTest : public UploadTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(UploadSizeTest, TheServerGetsWhatTheFileHolds) {
  const std::string content = PatternBytes(5, GetParam());
  MakeSource(content);
  server_.On([](const Request&) { return Reply::Status(201); });
  int16_t retry_count = 1;
  EXPECT_EQ(Upload(retry_count, 0), GetParam());
  ASSERT_EQ(server_.request_count(), 1U);
  const Request request = server_.requests().at(0);
  EXPECT_TRUE(request.body == content);
  EXPECT_EQ(request.Header("Content-Length"), std::to_string(GetParam()));
  EXPECT_EQ(request.CountHeaders("Content-Range"), 0U);
  EXPECT_EQ(request.CountHeaders("Expect"), 0U);
  EXPECT_EQ(retry_count, 1);
}

INSTANTIATE_TEST_SUITE_P(Sizes, UploadSizeTest,
                         ::testing::Values(0, 1, 51199, 51200, 51201, 4 << 20));

TEST_F(UploadFileTest, PutsUnderTheAccountWithItsAgentAndCredentials) {
  MakeSource("abc");
  server_.On([](const Request&) { return Reply::Status(204); });
  EXPECT_EQ(Upload(retry_count_, 0), 3U);
  EXPECT_THAT(server_.lines(), ElementsAre(kPut));
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.Header("User-Agent"), "Cirrux Backup App");
  EXPECT_EQ(request.Header("Authorization"), "Basic YW5uYTpzZWNyZXQ=");
  EXPECT_EQ(request.CountHeaders("Authorization"), 1U);
  EXPECT_TRUE(TraceHas(u"Started making a Backup call for /users/anna/Files/big.bin"));
  EXPECT_TRUE(TraceHas(u"Finished making a Backup call, with response 204"));
}

TEST_F(UploadFileTest, ASecondAttemptResendsTheLastByte) {
  const std::string content = PatternBytes(5, 204800);
  MakeSource(content);
  server_.On([](const Request&) { return Reply::Status(201); });
  retry_count_ = 2;
  EXPECT_EQ(Upload(retry_count_, 102400), 204800U);
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.Header("Content-Range"), "bytes 102399-204799/204800");
  EXPECT_EQ(request.Header("Content-Length"), "102401");
  EXPECT_EQ(request.CountHeaders("Content-Length"), 1U);
  EXPECT_TRUE(request.body == content.substr(102399));
  EXPECT_EQ(retry_count_, 1);
  constexpr TextView kGoingOn = u"Connection established and continuing upload of file /big.bin.";
  EXPECT_TRUE(UserLogHasAt(u"Information", kGoingOn));
  EXPECT_TRUE(TraceHas(kGoingOn));
  EXPECT_EQ(CountInTrace(kGoingOn), 1U);
}

TEST_F(UploadFileTest, AFirstAttemptSendsNoRangeEvenFromAnOffset) {
  const std::string content = PatternBytes(5, 1000);
  MakeSource(content);
  server_.On([](const Request&) { return Reply::Status(201); });
  EXPECT_EQ(Upload(retry_count_, 400), 1000U);
  const Request request = server_.requests().at(0);
  EXPECT_EQ(request.CountHeaders("Content-Range"), 0U);
  EXPECT_EQ(request.Header("Content-Length"), "600");
  EXPECT_EQ(request.body, content.substr(400));
}

TEST_F(UploadFileTest, ASecondAttemptFromTheStartSendsNoRange) {
  MakeSource("abc");
  server_.On([](const Request&) { return Reply::Status(201); });
  retry_count_ = 2;
  EXPECT_EQ(Upload(retry_count_, 0), 3U);
  EXPECT_EQ(server_.requests().at(0).CountHeaders("Content-Range"), 0U);
}

TEST_F(UploadFileTest, ARefusedPathStopsAllAttempts) {
  MakeSource("abc");
  server_.On([](const Request&) { return Reply::Status(409, "Conflict"); });
  EXPECT_EQ(Upload(retry_count_, 0), 0U);
  EXPECT_EQ(retry_count_, 0);
  EXPECT_TRUE(home_.LogText(u"UserLog.txt").empty());
}

TEST_F(UploadFileTest, AnyOtherStatusStartsOver) {
  MakeSource("abc");
  server_.On([](const Request&) { return Reply::Status(507, "Insufficient Storage"); });
  EXPECT_EQ(Upload(retry_count_, 0), 0U);
  EXPECT_EQ(retry_count_, 1);
  EXPECT_TRUE(UserLogHasAt(
      u"Information",
      u"Resuming cache upload of file /big.bin [retry count 1, 100% transferred]. Reason: "
      u"Insufficient Storage (507)"));
}

// 50,000,000 x 100 wraps at 32 bits.
TEST_F(UploadFileTest, ThePercentageOfLargeFilesWraps) {
  MakeLargeSource(50'000'000);
  server_.KeepBodies(0);
  server_.On([](const Request&) { return Reply::Status(500); });
  EXPECT_EQ(Upload(retry_count_, 0), 0U);
  EXPECT_EQ(CountInUserLog(u"[retry count 1, 14% transferred]"), 1U);
}

TEST_F(UploadFileTest, AServerThatIsNotThereLeavesTheOffset) {
  home_.SetAccount(kNobody, u"anna", u"secret");
  MakeSource("abcdef");
  CBackupDAV client;
  EXPECT_EQ(client.CacheUploadFile(kSource, kResource, retry_count_, 2), 2U);
  EXPECT_EQ(retry_count_, 1);
  EXPECT_EQ(
      CountInUserLog(u"Resuming upload of file /big.bin [retry count 1, 0% transferred]. Reason: "),
      1U);
  EXPECT_EQ(CountInTrace(u"Error uploading /users/anna/Files/big.bin, Reason: "), 1U);
  retry_count_ = 2;  // the byte before the offset would have been sent again
  EXPECT_EQ(client.CacheUploadFile(kSource, kResource, retry_count_, 2), 1U);
}

TEST_F(UploadFileTest, AConnectionThatBreaksGivesTheOffsetReached) {
  constexpr uint32_t kSize = 64 << 20;
  MakeLargeSource(kSize);
  server_.KeepBodies(0);
  server_.OnHead([](const Request&) { return BodyRule::ResetAfter(102400); });
  const uint32_t reached = Upload(retry_count_, 0);
  EXPECT_GT(reached, 0U);
  EXPECT_LT(reached, kSize);
  EXPECT_EQ(reached % kUploadChunkSize, 0U);
  EXPECT_EQ(retry_count_, 1);
  EXPECT_EQ(CountInTrace(u"Unable to cache upload file /big.bin. Reason: "), 1U);
  EXPECT_EQ(CountInUserLog(u"Resuming upload of file /big.bin [retry count 1, "), 1U);
}

TEST_F(UploadFileTest, AFileThatCannotBeReadStopsAllAttempts) {
  EXPECT_EQ(Upload(retry_count_, 0), 0U);
  EXPECT_EQ(retry_count_, 0);
  EXPECT_EQ(server_.request_count(), 0U);
  EXPECT_EQ(CountInUserLog(u"Unable to open cache upload file C:\\Apps\\Host\\big.bin. Reason: "),
            1U);
  EXPECT_EQ(
      CountInTrace(u"Unable to open cache upload file C:\\Apps\\Host\\big.bin. \t\t\t\tReason: "),
      1U);
}

// --- progress and cancel

TEST_F(UploadFileTest, PublishesTheSizeFirstAndWhatWasSentSecond) {
  MakeSource(PatternBytes(0, 1000));
  std::tuple<int32_t, Text, uint32_t, uint32_t> seen;
  server_.On([&](const Request&) {
    seen = ReadProgress();  // the body has been sent
    return Reply::Status(201);
  });
  EXPECT_EQ(Upload(retry_count_, 0), 1000U);
  EXPECT_EQ(std::get<0>(seen), 1);
  EXPECT_EQ(std::get<1>(seen), kResource);
  EXPECT_EQ(std::get<2>(seen), 1000U);
  EXPECT_EQ(ReadProgress(), std::make_tuple(0, Text(), 0U, 0U));
}

TEST_F(UploadFileTest, ACancelBeforeTheFirstByteSendsNothing) {
  MakeSource("abc");
  SetProgressDetails(TransferKind::kUpload, kResource, 3, 0, 0);
  AskToCancel(kResource);
  EXPECT_EQ(Upload(retry_count_, 0), 0U);
  EXPECT_EQ(retry_count_, 0);
  EXPECT_EQ(server_.request_count(), 0U);
  EXPECT_TRUE(UserLogHasAt(
      u"Information",
      u"/big.bin could not be completely uploaded as the operation was manually canceled."));
  EXPECT_TRUE(TraceHas(u"Upload of file /big.bin canceled by the user."));
}

TEST_F(UploadFileTest, ACancelIsSeenWithinOneChunk) {
  MakeLargeSource(64 << 20);
  server_.KeepBodies(0);
  struct Seen {
    uint64_t received = 0;
    std::atomic<uint32_t> sent_when_asked = 0;
  };
  // Shared, because the server goes on taking what is on its way when the upload has ended.
  const auto seen = std::make_shared<Seen>();
  server_.OnBody([seen](const Request&, std::string_view piece) {
    seen->received += piece.size();
    if (seen->sent_when_asked != 0 || seen->received <= 102400) return;
    AskToCancel(kResource);
    seen->sent_when_asked = std::get<3>(ReadProgress());
  });
  EXPECT_EQ(Upload(retry_count_, 0), 0U);
  EXPECT_EQ(retry_count_, 0);
  const uint32_t sent = std::get<3>(ReadProgress());
  EXPECT_GT(sent, 102400U);
  EXPECT_LE(sent, seen->sent_when_asked + kUploadChunkSize);
  EXPECT_EQ(CountInUserLog(u"manually canceled."), 1U);
  EXPECT_EQ(CountInTrace(u"canceled by the user"), 0U);
  // The request to cancel is used up.
  EXPECT_FALSE(SetProgressDetails(TransferKind::kUpload, kResource, 0, 0, 0));
}

}  // namespace
}  // namespace zv::testing
