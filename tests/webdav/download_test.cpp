// A download that goes through, breaks, resumes, is refused or canceled.
#include <thread>

#include "tests/webdav/download_fixture.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

TEST_F(DownloadTest, BringsAWholeFile) {
  server_.On([this](const Request& request) { return Serve(request, content_); });
  FileTime time;
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal, &time));
  EXPECT_EQ(Local(), content_);
  EXPECT_EQ(time, kOldFileTime);
  EXPECT_THAT(server_.lines(), ElementsAre(kRemoteLine));
  EXPECT_THAT(Ranges(), ElementsAre(""));
  EXPECT_EQ(server_.requests().at(0).Header("Authorization"), "Basic YW5uYTpzZWNyZXQ=");
  EXPECT_TRUE(UserLogHasAt(u"Information", u"/big.bin has been downloaded."));
  EXPECT_TRUE(TraceHas(u"/big.bin has been downloaded."));
  EXPECT_EQ(CountInUserLog(u"Connection established"), 0U);
  EXPECT_EQ(clock_.slept_ms(), 0U);
  EXPECT_EQ(ReadProgress().kind, 0);
  EXPECT_EQ(ReadProgress().name, u"");
}

class DownloadSizeTest : public DownloadTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(DownloadSizeTest, TheLocalFileEqualsTheServers) {
  const std::string content = PatternBytes(3, GetParam());
  server_.On([&](const Request& request) { return Serve(request, content); });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_TRUE(Local() == content);
  EXPECT_EQ(server_.request_count(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Sizes, DownloadSizeTest,
                         ::testing::Values(0, 1, 51199, 51200, 51201, 10 << 20));

TEST_F(DownloadTest, ResumesWhereItBrokeOff) {
  server_.On([this](const Request& request) {
    Reply reply = Serve(request, content_);
    return request.number == 0 ? reply.CloseAfter(2 * kChunk) : reply;
  });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(Local(), content_);
  EXPECT_THAT(Ranges(), ElementsAre("", "bytes=102400-"));
  constexpr TextView kResuming =
      u"Resuming download of file /big.bin [retry count 1, 40% downloaded]. Reason: ";
  constexpr TextView kUnable =
      u"Unable to download file /big.bin [retry count 1, 40% downloaded]. \t\t\t\t\tReason: ";
  EXPECT_EQ(CountInUserLog(kResuming), 1U);
  EXPECT_EQ(CountInTrace(kUnable), 1U);
  EXPECT_EQ(CountInTrace(u" (200)\r\n"), 1U);
  constexpr TextView kGoingOn = u"Connection established and continuing download of file /big.bin.";
  EXPECT_TRUE(UserLogHasAt(u"Information", kGoingOn));
  EXPECT_EQ(CountInUserLog(kGoingOn), 1U);
  EXPECT_EQ(CountInTrace(kGoingOn), 1U);
  EXPECT_EQ(clock_.slept_ms(), 5000U);
}

TEST_F(DownloadTest, ResumesInTheMiddleOfAChunk) {
  server_.On([this](const Request& request) {
    Reply reply = Serve(request, content_);
    return request.number == 0 ? reply.CloseAfter(2 * kChunk + 777) : reply;
  });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(Local(), content_);
  ASSERT_THAT(Ranges(), SizeIs(2));
  const int64_t from = std::stoll(Ranges().at(1).substr(6));
  EXPECT_GE(from, static_cast<int64_t>(2 * kChunk));
  EXPECT_LE(from, static_cast<int64_t>(2 * kChunk + 777));
}

TEST_F(DownloadTest, AbortsAfterThreeAttemptsAndPausesAfterEach) {
  server_.On(
      [this](const Request& request) { return Serve(request, content_).CloseAfter(kChunk); });
  EXPECT_FALSE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_THAT(Ranges(), ElementsAre("", "bytes=51200-", "bytes=102400-"));
  EXPECT_TRUE(UserLogHasAt(u"Error", u"Aborting download of /big.bin."));
  for (const TextView progress :
       {u"[retry count 1, 20% downloaded]", u"[retry count 2, 40% downloaded]",
        u"[retry count 3, 60% downloaded]"}) {
    EXPECT_EQ(CountInUserLog(progress), 1U);
  }
  EXPECT_EQ(clock_.slept_ms(), 15000U);
  EXPECT_EQ(Local(), content_.substr(0, 3 * kChunk));
  EXPECT_EQ(ReadProgress().kind, 0);
}

TEST_F(DownloadTest, AFileThatIsMissingEndsAfterOneAttempt) {
  server_.On([](const Request&) { return Reply::Status(404, "Not Found"); });
  EXPECT_FALSE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(server_.request_count(), 1U);
  EXPECT_TRUE(
      UserLogHasAt(u"Information", u"Unable to download file /big.bin. Reason: Not Found (404)"));
  EXPECT_TRUE(TraceHas(u"File not found on the server, \t\t\t\t\twe are stopping transfer"));
  EXPECT_EQ(CountInUserLog(u"Aborting"), 0U);
  EXPECT_EQ(clock_.slept_ms(), 0U);
  EXPECT_FALSE(FileExists(kLocal));
}

TEST_F(DownloadTest, AServerErrorIsTriedAgain) {
  server_.Enqueue(Reply::Status(500, "Internal Server Error"));
  server_.On([this](const Request& request) { return Serve(request, content_); });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(Local(), content_);
  EXPECT_THAT(Ranges(), ElementsAre("", ""));
  EXPECT_TRUE(UserLogHasAt(u"Information",
                           u"Resuming download of file /big.bin [retry count 1, 0% downloaded]. "
                           u"Reason: Internal Server Error (500)"));
  EXPECT_TRUE(
      TraceHas(u"Unable to download file /big.bin [retry count 1, 0% downloaded]. "
               u"\t\t\t\t\tReason: Internal Server Error (500)"));
}

TEST_F(DownloadTest, AnAnswerThatNeverComesIsStatus0) {
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_FALSE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(CountInTrace(u"Error calling SendDAVRequest on GET\r\n"), 3U);
  EXPECT_EQ(CountInUserLog(u" (0)\r\n"), 3U);
  EXPECT_TRUE(UserLogHasAt(u"Error", u"Aborting download of /big.bin."));
}

TEST_F(DownloadTest, AServerThatIgnoresTheRangeIsAskedForTheWholeFile) {
  server_.On([this](const Request& request) {
    Reply reply = Reply::Status(200).Header("Last-Modified", kOldTime).Body(content_);
    return request.number == 0 ? reply.CloseAfter(2 * kChunk) : reply;
  });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(Local(), content_);
  EXPECT_THAT(Ranges(), ElementsAre("", "bytes=102400-", ""));
  EXPECT_EQ(CountInUserLog(u"[retry count 2, 40% downloaded]. Reason: OK (200)"), 1U);
}

TEST_F(DownloadTest, AFileThatIsShorterNowStartsOver) {
  const std::string shorter = PatternBytes(99, kChunk);
  server_.On([&](const Request& request) {
    return request.number == 0 ? Serve(request, content_).CloseAfter(2 * kChunk)
                               : Serve(request, shorter);
  });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(Local(), shorter);
  EXPECT_THAT(Ranges(), ElementsAre("", "bytes=102400-", ""));
  EXPECT_EQ(CountInUserLog(u"[retry count 2, 40% downloaded]. Reason: "), 1U);
  EXPECT_EQ(CountInUserLog(u" (416)\r\n"), 1U);
}

TEST_F(DownloadTest, AFileOfAnotherTotalStartsOver) {
  const std::string longer = PatternBytes(99, 6 * kChunk);
  server_.On([&](const Request& request) {
    return request.number == 0 ? Serve(request, content_).CloseAfter(2 * kChunk)
                               : Serve(request, longer);
  });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(Local(), longer);
  EXPECT_THAT(Ranges(), ElementsAre("", "bytes=102400-", ""));
}

TEST_F(DownloadTest, AFileOfAnotherTimeStartsOver) {
  const std::string changed = PatternBytes(99, content_.size());
  server_.On([&](const Request& request) {
    if (request.number == 0) return Serve(request, content_).CloseAfter(2 * kChunk);
    return Reply::Content(request, changed).Header("Last-Modified", kNewTime);
  });
  FileTime time;
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal, &time));
  EXPECT_EQ(Local(), changed);
  EXPECT_GT(time, kOldFileTime);
  EXPECT_THAT(Ranges(), ElementsAre("", "bytes=102400-", ""));
}

TEST_F(DownloadTest, APartThatBeginsElsewhereIsNotTaken) {
  server_.On([this](const Request& request) {
    Reply reply = Serve(request, content_);
    if (request.number == 0) return reply.CloseAfter(2 * kChunk);
    if (request.number == 1) {
      return Reply::Status(206)
          .Header("Content-Range", "bytes 0-153599/256000")
          .Header("Last-Modified", kOldTime)
          .Body(content_.substr(0, 3 * kChunk));
    }
    return reply;
  });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(Local(), content_);
}

TEST_F(DownloadTest, NeverWritesMoreThanTheSaidLength) {
  server_.Enqueue(Reply::Raw("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n1234567890"));
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(Local(), "12345");
}

TEST_F(DownloadTest, AnEmptyFileIsMade) {
  server_.On([this](const Request& request) { return Serve(request, ""); });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(Local(), "");
  EXPECT_TRUE(TraceHas(u"/big.bin has been downloaded."));
}

// Its end would look like a broken connection.
TEST_F(DownloadTest, AReplyThatDoesNotSayItsLengthIsNotTaken) {
  server_.On([this](const Request&) { return Reply::Status(200).Body(content_).SayNoLength(); });
  EXPECT_FALSE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(CountInUserLog(u"[retry count 3, 0% downloaded]. Reason: The server does not say how "
                           u"long the file is. (200)"),
            1U);
  EXPECT_FALSE(FileExists(kLocal));
}

TEST_F(DownloadTest, GoesOnBehindWhatTheLocalFileHeld) {
  WriteFileBytes(kLocal, "before");
  server_.On([this](const Request& request) {
    Reply reply = Serve(request, content_);
    return request.number == 0 ? reply.CloseAfter(2 * kChunk) : reply;
  });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(Local(), "before" + content_);
  EXPECT_THAT(Ranges(), ElementsAre("", "bytes=102400-"));
}

TEST_F(DownloadTest, ALocalFolderInTheWayIsSaidAndTriedAgain) {
  MakeFolders(kLocal);
  server_.On([this](const Request& request) { return Serve(request, content_); });
  EXPECT_FALSE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(server_.request_count(), 3U);
  constexpr TextView kUnable =
      u"Unable to open file C:\\Apps\\Host\\big.part for downloading cache file. Reason: ";
  EXPECT_EQ(CountInUserLog(kUnable), 3U);
  EXPECT_EQ(CountInTrace(kUnable), 3U);
  EXPECT_TRUE(UserLogHasAt(u"Error", u"Aborting download of /big.bin."));
}

// --- progress and cancel

TEST_F(DownloadTest, PublishesWhatIsHereAndTheTotal) {
  std::vector<Progress> seen;
  server_.On([&](const Request& request) {
    seen.push_back(ReadProgress());
    Reply reply = Serve(request, content_);
    return request.number == 0 ? reply.CloseAfter(2 * kChunk) : reply;
  });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
  ASSERT_THAT(seen, SizeIs(2));
  EXPECT_EQ(seen[0].kind, 2);
  EXPECT_EQ(seen[0].name, kRemote);
  EXPECT_EQ(seen[0].first, 0U);
  EXPECT_EQ(seen[0].second, 0U);
  EXPECT_EQ(seen[1].kind, 2);
  EXPECT_EQ(seen[1].first, 102400U);
  EXPECT_EQ(seen[1].second, 256000U);
  EXPECT_GE(seen[1].elapsed, 5U);
}

TEST_F(DownloadTest, ACancelIsSeenWithinOneChunk) {
  server_.On(
      [this](const Request& request) { return Serve(request, content_).StallAfter(2 * kChunk); });
  std::thread user([this] {
    while (ReadProgress().first < 2 * kChunk) std::this_thread::yield();
    AskToCancel(u"/BIG.bin");
    server_.Release();
  });
  EXPECT_FALSE(client_.RestoreFile(kRemote, kLocal));
  user.join();
  EXPECT_EQ(Local(), content_.substr(0, 3 * kChunk));
  EXPECT_EQ(server_.request_count(), 1U);
  EXPECT_TRUE(UserLogHasAt(u"Information",
                           u"Unable to download the file /big.bin completely, as the operation was "
                           u"manually canceled."));
  EXPECT_TRUE(TraceHas(u"User canceled the file download of /big.bin."));
  EXPECT_EQ(CountInUserLog(u"Aborting"), 0U);
  EXPECT_EQ(clock_.slept_ms(), 0U);
  EXPECT_EQ(ReadProgress().kind, 0);
}

TEST_F(DownloadTest, ACancelDuringThePauseEndsItBeforeTheNextRequest) {
  server_.On([this](const Request& request) {
    AskToCancel(kRemote);  // seen at the next publication
    return request.number == 0 ? Reply::Status(500) : Serve(request, content_);
  });
  EXPECT_FALSE(client_.RestoreFile(kRemote, kLocal));
  EXPECT_EQ(server_.request_count(), 1U);
  EXPECT_TRUE(TraceHas(u"User canceled the file download of /big.bin."));
}

TEST_F(DownloadTest, AnOldCancelDoesNotEndANewDownload) {
  SetProgressDetails(TransferKind::kDownload, kRemote, 0, 0, 0);
  AskToCancel(kRemote);
  server_.On([this](const Request& request) { return Serve(request, content_); });
  EXPECT_TRUE(client_.RestoreFile(kRemote, kLocal));
}

// --- what happens to the local file meanwhile

class DisturbedDownloadTest : public AccountTest {
 protected:
  // Breaks after two chunks; the disturbance comes in the pause.
  void Run(const std::function<void()>& disturb) {
    MakeFolders(u"C:\\Apps\\Host");
    const VirtualClock clock([&](uint32_t) { disturb(); });
    server_.On([this](const Request& request) {
      Reply reply = Reply::Content(request, content_);
      return request.number == 0 ? reply.CloseAfter(2 * kChunk) : reply;
    });
    CWebDAV client;
    EXPECT_TRUE(client.RestoreFile(kRemote, kLocal));
    EXPECT_TRUE(ReadFileBytes(kLocal) == content_);
  }

  const std::string content_ = PatternBytes(7, 5 * kChunk);
};

TEST_F(DisturbedDownloadTest, AFileThatIsGoneStartsOver) {
  Run([] { RemoveFile(kLocal); });
  EXPECT_EQ(server_.requests().at(1).Header("Range"), "");
}

TEST_F(DisturbedDownloadTest, AFileThatWasCutStartsOver) {
  Run([] { File::Open(kLocal, Access::kWrite, Disposition::kOpenExisting).SetSize(10); });
}

// As a write leaves it that failed half-way.
TEST_F(DisturbedDownloadTest, BytesBehindTheLastChunkAreCutOff) {
  Run([] {
    File::Open(kLocal, Access::kWrite, Disposition::kOpenExisting).Append("half a chunk");
  });
  EXPECT_EQ(server_.requests().at(1).Header("Range"), "bytes=102400-");
}

}  // namespace
}  // namespace zv::testing
