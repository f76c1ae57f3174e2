// One GET of a file's part, as reads that go past the cache use it.
#include "tests/webdav/download_fixture.h"

namespace zv::testing {
namespace {

class RestoreRangeTest : public DownloadTest {
 protected:
  TransferRequest request_{.path = Text(kRemote), .file_size = -7, .length = 200, .offset = 100};
};

TEST_F(RestoreRangeTest, AsksForOneByteMoreThanTheLength) {
  server_.On([this](const Request& request) { return Serve(request, content_); });
  ASSERT_TRUE(client_.StartRestore(request_, true));
  EXPECT_EQ(Ranges().at(0), "bytes=100-300");
  EXPECT_EQ(request_.file_size, 201);
  EXPECT_EQ(client_.content_length(), 201);
  std::string bytes(201, '\0');
  size_t received = 0;
  EXPECT_TRUE(client_.GetBufferFromServer(bytes.data(), bytes.size(), &received));
  EXPECT_EQ(received, 201U);
  EXPECT_EQ(bytes, content_.substr(100, 201));
  client_.EndRestoreFromServer(request_);
  EXPECT_FALSE(client_.GetBufferFromServer(bytes.data(), bytes.size()));
}

TEST_F(RestoreRangeTest, ARangeIs64BitsWide) {
  request_.offset = int64_t{5} << 30;
  EXPECT_FALSE(client_.StartRestore(request_, true));
  EXPECT_EQ(Ranges().at(0), "bytes=5368709120-5368709320");
}

TEST_F(RestoreRangeTest, AnOffsetWithoutALengthIs32BitsWide) {
  request_.offset = int64_t{3} << 30;
  EXPECT_FALSE(client_.StartRestore(request_, false));
  EXPECT_EQ(Ranges().at(0), "bytes=-1073741824-");
}

TEST_F(RestoreRangeTest, TheWholeFileIsNoAnswerToARange) {
  server_.On([this](const Request&) { return Reply::Status(200).Body(content_); });
  EXPECT_FALSE(client_.StartRestore(request_, true));
  EXPECT_EQ(request_.file_size, -7);
}

TEST_F(RestoreRangeTest, TheWholeFileIsAnAnswerToARangeFromItsBeginning) {
  request_.offset = 0;
  server_.On([this](const Request&) { return Reply::Status(200).Body(content_); });
  ASSERT_TRUE(client_.StartRestore(request_, true));
  EXPECT_EQ(Ranges().at(0), "bytes=0-200");
  EXPECT_EQ(client_.content_length(), static_cast<int64_t>(content_.size()));
  std::string bytes(200, '\0');
  EXPECT_TRUE(client_.GetBufferFromServer(bytes.data(), bytes.size()));
  EXPECT_EQ(bytes, content_.substr(0, 200));
}

// Servers differ in what they answer.
TEST_F(RestoreRangeTest, AnEmptyFileHasNoBytesAtItsBeginning) {
  request_.offset = 0;
  server_.Enqueue(Reply::Status(200));
  server_.Enqueue(Reply::Status(416).Header("Content-Range", "bytes */0").Body("<html/>"));
  for (int i = 0; i < 2; ++i) {
    request_.file_size = -7;
    EXPECT_TRUE(client_.StartRestore(request_, true));
    EXPECT_EQ(request_.file_size, 0);
    EXPECT_EQ(client_.content_length(), 0);
    char byte = 0;
    size_t received = 0;
    client_.GetBufferFromServer(&byte, 1, &received);
    EXPECT_EQ(received, 0U);
  }
}

TEST_F(RestoreRangeTest, ARangeThatIsRefusedBringsNothing) {
  server_.On([](const Request&) {
    return Reply::Status(416).Header("Content-Range", "bytes */100").Body("<html/>");
  });
  EXPECT_FALSE(client_.StartRestore(request_, true));
  request_.offset = 0;
  EXPECT_FALSE(client_.StartRestore(request_, true));
  EXPECT_EQ(request_.file_size, -7);
}

TEST_F(RestoreRangeTest, APartIsNoAnswerToTheWholeFile) {
  request_.offset = 0;
  server_.On([](const Request&) {
    return Reply::Status(206).Header("Content-Range", "bytes 0-9/100").Body("0123456789");
  });
  EXPECT_FALSE(client_.StartRestore(request_, false));
}

TEST_F(RestoreRangeTest, ALengthThatIsNotSaidIs0) {
  request_.offset = 0;
  server_.On([](const Request&) { return Reply::Status(200).Body("0123456789").SayNoLength(); });
  EXPECT_TRUE(client_.StartRestore(request_, false));
  EXPECT_EQ(request_.file_size, 0);
  EXPECT_EQ(client_.content_length(), 0);
}

TEST_F(RestoreRangeTest, AGetThatCannotBeSentIsTraced) {
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_FALSE(client_.StartRestore(request_, true));
  EXPECT_TRUE(TraceHas(u"Error calling SendDAVRequest on GET"));
}

}  // namespace
}  // namespace zv::testing
