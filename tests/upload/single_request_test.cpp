// The two halves of an upload in one request.
#include "tests/upload/upload_fixture.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;

using SingleRequestTest = UploadTest;

TEST_F(SingleRequestTest, AnEmptyFileIsPut) {
  server_.On([](const Request&) { return Reply::Status(201); });
  TransferRequest request{.path = Text(kResource)};
  EXPECT_TRUE(client_.InitiateUpload(request));
  EXPECT_TRUE(client_.EndUpload(request));
  EXPECT_THAT(server_.lines(), ElementsAre(kPut));
  const Request sent = server_.requests().at(0);
  EXPECT_EQ(sent.Header("Content-Length"), "0");
  EXPECT_EQ(sent.CountHeaders("Content-Range"), 0U);
  EXPECT_EQ(sent.body_size, 0U);
  EXPECT_TRUE(TraceHas(u"Finished making a Backup call, with response 201"));
  EXPECT_TRUE(home_.LogText(u"UserLog.txt").empty());
}

TEST_F(SingleRequestTest, ARefusalIsAnErrorWithItsStatus) {
  server_.On([](const Request&) { return Reply::Status(507, "Insufficient Storage"); });
  TransferRequest request{.path = Text(kResource)};
  EXPECT_TRUE(client_.InitiateUpload(request));
  EXPECT_FALSE(client_.EndUpload(request));
  EXPECT_TRUE(UserLogHasAt(u"Error",
                           u"Unable to upload file /big.bin. Reason: Insufficient Storage (507)"));
  EXPECT_TRUE(TraceHas(u"Finished making a Backup call, with response 507"));
}

TEST_F(SingleRequestTest, AServerThatIsNotThereIsAnError) {
  home_.SetAccount(kNobody, u"anna", u"secret");
  CBackupDAV client;
  TransferRequest request{.path = Text(kResource)};
  EXPECT_FALSE(client.InitiateUpload(request));
  EXPECT_EQ(CountInUserLog(u"Unable to upload file /big.bin. Reason: "), 1U);
  EXPECT_FALSE(client.EndUpload(request));
}

TEST_F(SingleRequestTest, EndingWithoutABeginningIsAnError) {
  EXPECT_FALSE(client_.EndUpload({.path = Text(kResource)}));
  EXPECT_TRUE(
      UserLogHasAt(u"Error", u"The /big.bin could not be uploaded due to an unknown error."));
}

TEST_F(SingleRequestTest, ALineThatBreaksAtTheEndIsAnError) {
  server_.On([](const Request&) { return Reply::Silence(); });
  TransferRequest request{.path = Text(kResource)};
  EXPECT_TRUE(client_.InitiateUpload(request));
  EXPECT_TRUE(server_.WaitForRequests(1));
  server_.CloseConnections();
  EXPECT_FALSE(client_.EndUpload(request));
  // The system's client tells it by an exception, or by its result.
  const size_t thrown = CountInUserLog(u"Error ending upload of /big.bin. Reason: ");
  EXPECT_EQ(thrown + CountInUserLog(u"Unable to upload file /big.bin. Reason: "), 1U);
  EXPECT_EQ(CountInTrace(u"Error ending upload of /big.bin. Reason: "), thrown);
}

struct Range {
  size_t stored;  // bytes that the server holds
  TextView header;
  int64_t total;
};

class RangedRequestTest : public UploadTest, public ::testing::WithParamInterface<Range> {};

TEST_P(RangedRequestTest, APartNamesTheLargerOfBothLengths) {
  server_.On([](const Request&) { return Reply::Status(200).LongBody(GetParam().stored); });
  TransferRequest request{.path = Text(kResource), .length = 100, .offset = 50};
  EXPECT_TRUE(client_.InitiateUpload(request));
  EXPECT_EQ(request.file_size, GetParam().total);
  ASSERT_TRUE(server_.WaitForRequests(2));
  const Request sent = server_.requests().at(1);
  EXPECT_EQ(sent.verb, "PUT");
  EXPECT_EQ(FromUtf8(sent.Header("Content-Range")), GetParam().header);
  EXPECT_EQ(sent.Header("Content-Length"), "100");
  EXPECT_TRUE(TraceHas(u"Range header : Content-Range: " + Text(GetParam().header)));
  EXPECT_TRUE(TraceHas(u"Length header : Content-Length: 100"));
}

INSTANTIATE_TEST_SUITE_P(Lengths, RangedRequestTest,
                         ::testing::Values(Range{0, u"bytes 50-149/150", 150},
                                           Range{120, u"bytes 50-149/150", 150},
                                           Range{1000, u"bytes 50-149/1000", 1000}));

}  // namespace
}  // namespace zv::testing
