// A file sent whole: attempts, pauses, verification.
#include <chrono>
#include <thread>

#include "cache/time_file.h"
#include "tests/upload/upload_fixture.h"

namespace zv::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr TextView kUploaded = u"/big.bin has been uploaded.";
constexpr TextView kAborting = u"Aborting upload of file /big.bin.";
constexpr TextView kUnverified =
    u"Unable to cache upload of the file /big.bin. Reason: Unable to verify the complete file on "
    u"server.";

class FileTransferTest : public UploadTest {
 protected:
  std::optional<FileTime> StoredTime() const {
    FileTime time;
    if (!GetFileTimeEntry(CacheNames(), kResource, &time)) return std::nullopt;
    return time;
  }
};

TEST_F(FileTransferTest, SendsVerifiesAndKeepsTheServersTime) {
  MakeSource(PatternBytes(0, 60000));
  Store();
  EXPECT_TRUE(Transfer());
  EXPECT_TRUE(client_.last_transfer_stored());
  EXPECT_THAT(server_.lines(), ElementsAre(kPut, kGet));
  EXPECT_TRUE(UserLogHasAt(u"Information", kUploaded));
  EXPECT_EQ(StoredTime(), kTime);
  EXPECT_EQ(clock_.slept_ms(), 0U);
}

TEST_F(FileTransferTest, AnEmptyFileIsVerifiedEvenWhenItsLengthCannotBeAsked) {
  MakeSource("");
  server_.On(
      [](const Request& request) { return Reply::Status(request.verb == "PUT" ? 201 : 500); });
  EXPECT_TRUE(Transfer());
  EXPECT_TRUE(UserLogHasAt(u"Information", kUploaded));
  EXPECT_TRUE(TraceHas(u"Error calling SendDAVRequest for File Verification"));
}

// Verified by its length, as nothing is as long as an empty file; and yet it is not there.
TEST_F(FileTransferTest, AnEmptyFileThatTheServerRefusedIsNotStored) {
  MakeSource("");
  server_.On(
      [](const Request& request) { return Reply::Status(request.verb == "PUT" ? 507 : 404); });
  EXPECT_TRUE(Transfer());
  EXPECT_FALSE(client_.last_transfer_stored());
  EXPECT_EQ(client_.last_transfer_failure(), u"Insufficient Storage (507)");
  EXPECT_THAT(server_.lines(), ElementsAre(kPut, kGet));
  EXPECT_TRUE(UserLogHasAt(u"Information", kUploaded));
}

TEST_F(FileTransferTest, AnEmptyFileIsNotStoredWhereNoServerIs) {
  home_.SetAccount(kNobody, u"anna", u"secret");
  MakeSource("");
  CBackupDAV client;
  EXPECT_TRUE(client.LocalFileTransfer(kSource, kResource));
  EXPECT_FALSE(client.last_transfer_stored());
  EXPECT_FALSE(client.last_transfer_failure().empty());
}

// What the server holds may be an older version of the same length.
TEST_F(FileTransferTest, AFileWhosePutWasNeverAnsweredIsNotStored) {
  MakeSource("new");
  for (const Reply& lost : {Reply::Drop(), Reply::Reset()}) {
    server_.ClearRequests();
    server_.On([lost](const Request& request) {
      return request.verb == "PUT" ? lost : Reply::Status(200).Body("old");
    });
    EXPECT_TRUE(Transfer());
    EXPECT_FALSE(client_.last_transfer_stored());
    EXPECT_FALSE(client_.last_transfer_failure().empty());
    EXPECT_THAT(server_.lines(), ElementsAre(kPut, kGet));
  }
  EXPECT_EQ(CountInUserLog(kUploaded), 2U);
}

TEST_F(FileTransferTest, AnAnsweredPutMakesUpForOneWhoseReplyWasLost) {
  MakeSource("new");
  server_.On([](const Request& request) {
    if (request.number == 0) return Reply::Drop();
    if (request.verb == "PUT") return Reply::Status(201);
    return Reply::Status(200).Body(request.number == 1 ? "an older version" : "new");
  });
  EXPECT_TRUE(Transfer());
  EXPECT_TRUE(client_.last_transfer_stored());
  EXPECT_EQ(client_.last_transfer_failure(), u"");
  EXPECT_THAT(server_.lines(), ElementsAre(kPut, kGet, kPut, kGet));
}

TEST_F(FileTransferTest, ARefusedPathEndsItTrueWithoutAnotherAttempt) {
  MakeSource("abc");
  server_.On([](const Request&) { return Reply::Status(409, "Conflict"); });
  EXPECT_TRUE(Transfer());
  EXPECT_FALSE(client_.last_transfer_stored());
  EXPECT_EQ(client_.last_transfer_failure(), u"Conflict");
  EXPECT_THAT(server_.lines(), ElementsAre(kPut));
  EXPECT_EQ(clock_.slept_ms(), 0U);
  EXPECT_EQ(CountInUserLog(kAborting), 0U);
}

TEST_F(FileTransferTest, AServerErrorStartsOverAfterAPause) {
  MakeSource("abc");
  Store();
  server_.Enqueue(Reply::Status(500));
  EXPECT_TRUE(Transfer());
  EXPECT_TRUE(client_.last_transfer_stored());
  EXPECT_THAT(server_.lines(), ElementsAre(kPut, kPut, kGet));
  EXPECT_EQ(server_.requests().at(1).CountHeaders("Content-Range"), 0U);
  EXPECT_EQ(server_.requests().at(1).body, "abc");
  EXPECT_EQ(clock_.slept_ms(), 5000U);
}

// Each attempt gets its bytes through and so begins to count anew.
TEST_F(FileTransferTest, ServerErrorsAloneNeverEndIt) {
  MakeSource("abc");
  Store();
  for (int i = 0; i < 10; ++i) server_.Enqueue(Reply::Status(507));
  EXPECT_TRUE(Transfer());
  EXPECT_TRUE(client_.last_transfer_stored());
  EXPECT_EQ(clock_.slept_ms(), 50000U);
}

TEST_F(FileTransferTest, AServerThatIsNotThereEndsItAfterThreeAttempts) {
  home_.SetAccount(kNobody, u"anna", u"secret");
  MakeSource("abc");
  CBackupDAV client;
  EXPECT_FALSE(client.LocalFileTransfer(kSource, kResource));
  EXPECT_FALSE(client.last_transfer_stored());
  EXPECT_FALSE(client.last_transfer_failure().empty());
  EXPECT_TRUE(UserLogHasAt(u"Error", kAborting));
  for (const TextView count :
       {u"[retry count 1, 0%", u"[retry count 2, 0%", u"[retry count 3, 0%"}) {
    EXPECT_EQ(CountInUserLog(count), 1U);
  }
  EXPECT_EQ(clock_.slept_ms(), 15000U);
}

TEST_F(FileTransferTest, ABrokenConnectionIsResumedWithOneByteOfOverlap) {
  constexpr uint32_t kSize = 32 << 20;
  MakeLargeSource(kSize);
  server_.KeepBodies(0);
  server_.OnHead([](const Request& request) {
    return request.number == 0 ? BodyRule::ResetAfter(102400) : BodyRule::ReadAll();
  });
  server_.On([](const Request& request) {
    if (request.verb == "PUT") return Reply::Status(204);
    return Reply::Status(200).LongBody(kSize).StallAfter(0);
  });
  EXPECT_TRUE(Transfer());
  EXPECT_TRUE(client_.last_transfer_stored());
  EXPECT_THAT(server_.lines(), ElementsAre(kPut, kPut, kGet));
  const Request second = server_.requests().at(1);
  const uint64_t first_byte = kSize - second.body_size;
  EXPECT_EQ(first_byte % kUploadChunkSize, kUploadChunkSize - 1);
  EXPECT_EQ(second.Header("Content-Range"),
            "bytes " + std::to_string(first_byte) + "-33554431/33554432");
  EXPECT_EQ(second.Header("Content-Length"), std::to_string(kSize - first_byte));
  EXPECT_EQ(CountInUserLog(u"Connection established and continuing upload"), 1U);
  EXPECT_EQ(clock_.slept_ms(), 5000U);
}

TEST_F(FileTransferTest, AFileThatIsShortOnTheServerIsSentOnceMore) {
  MakeSource("abc");
  server_.On([](const Request& request) {
    if (request.verb == "PUT") return Reply::Status(201);
    return Reply::Status(200).Body(request.number < 2 ? "ab" : "abc");
  });
  EXPECT_TRUE(Transfer());
  EXPECT_TRUE(client_.last_transfer_stored());
  EXPECT_THAT(server_.lines(), ElementsAre(kPut, kGet, kPut, kGet));
  EXPECT_EQ(server_.requests().at(2).body, "abc");
  EXPECT_EQ(CountInUserLog(kUnverified), 1U);
  EXPECT_TRUE(UserLogHasAt(u"Information", kUploaded));
  EXPECT_EQ(clock_.slept_ms(), 0U);
}

TEST_F(FileTransferTest, ASecondFailedVerificationEndsItTrue) {
  MakeSource("abc");
  server_.On([](const Request& request) {
    return request.verb == "PUT" ? Reply::Status(201) : Reply::Status(200).Body("ab");
  });
  EXPECT_TRUE(Transfer());
  EXPECT_FALSE(client_.last_transfer_stored());
  EXPECT_EQ(client_.last_transfer_failure(), u"Unable to verify the complete file on server.");
  EXPECT_THAT(server_.lines(), ElementsAre(kPut, kGet, kPut, kGet));
  EXPECT_EQ(CountInUserLog(kUnverified), 2U);
  EXPECT_TRUE(UserLogHasAt(u"Information", kAborting));
  EXPECT_EQ(CountInUserLog(kUploaded), 0U);
  EXPECT_EQ(StoredTime(), std::nullopt);
}

TEST_F(FileTransferTest, AFileThatCannotBeReadEndsItTrueAndUnstored) {
  EXPECT_TRUE(Transfer());
  EXPECT_FALSE(client_.last_transfer_stored());
  EXPECT_FALSE(client_.last_transfer_failure().empty());
  EXPECT_THAT(server_.lines(), IsEmpty());
}

TEST_F(FileTransferTest, ACancelEndsItTrueAndUnstored) {
  MakeLargeSource(64 << 20);
  server_.KeepBodies(0);
  server_.OnBody([&](const Request&, std::string_view) {
    char16_t name[260] = u"/big.bin";
    ReadProgressDetails(name, nullptr, nullptr, nullptr, 1);
  });
  EXPECT_TRUE(Transfer());
  EXPECT_FALSE(client_.last_transfer_stored());
  EXPECT_EQ(server_.request_count(), 1U);
  EXPECT_EQ(CountInUserLog(u"manually canceled."), 1U);
  char16_t name[260] = {};
  EXPECT_EQ(ReadProgressDetails(name, nullptr, nullptr, nullptr, 0), 0);
}

// A transfer that a server would refuse for ever ends by a cancel only.
class CancelBetweenTest : public FileTransferTest {
 protected:
  // Three times, so that a cancel that is lost ends in other lines, not in no end.
  void RefusePuts(std::function<void()> before_reply = {}) {
    server_.On([before_reply](const Request& request) {
      if (before_reply) before_reply();
      return Reply::Status(request.number < 3 ? 507 : 409);
    });
  }
  void ExpectCanceledAfterOnePut() {
    EXPECT_TRUE(Transfer());
    EXPECT_FALSE(client_.last_transfer_stored());
    EXPECT_EQ(client_.last_transfer_failure(), u"canceled");
    EXPECT_THAT(server_.lines(), ElementsAre(kPut));
    EXPECT_TRUE(UserLogHasAt(
        u"Information",
        u"/big.bin could not be completely uploaded as the operation was manually canceled."));
    EXPECT_EQ(CountInUserLog(u"manually canceled."), 1U);
    EXPECT_EQ(std::get<0>(ReadProgress()), 0);
  }
};

TEST_F(CancelBetweenTest, ACancelDuringTheReplyEndsAnUploadThatIsRefused) {
  MakeSource("abc");
  RefusePuts([] {
    // The last chunk has been published: no other publication precedes the reply.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::get<3>(ReadProgress()) != 3 && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::yield();
    }
    AskToCancel(kResource);
  });
  ExpectCanceledAfterOnePut();
  EXPECT_EQ(CountInUserLog(u"Resuming cache upload of file /big.bin"), 1U);
  EXPECT_EQ(clock_.slept_ms(), 0U);
}

TEST_F(CancelBetweenTest, ACancelDuringTheReplyDoesNotUndoWhatTheServerTook) {
  MakeSource("");
  server_.On([](const Request& request) {
    AskToCancel(kResource);
    return Reply::Status(request.verb == "PUT" ? 201 : 200);
  });
  EXPECT_TRUE(Transfer());
  EXPECT_TRUE(client_.last_transfer_stored());
  EXPECT_EQ(CountInUserLog(u"manually canceled."), 0U);
}

// Nothing is published by name then, so the name to ask with is the empty one.
TEST_F(CancelBetweenTest, ACancelDuringThePauseEndsItAtTheNextAttempt) {
  MakeSource("abc");
  RefusePuts();
  on_sleep_ = [] {
    EXPECT_EQ(ReadProgress(), std::make_tuple(0, Text(), 0U, 0U));
    AskToCancel(u"");
  };
  ExpectCanceledAfterOnePut();
  EXPECT_TRUE(TraceHas(u"Upload of file /big.bin canceled by the user."));
  EXPECT_EQ(clock_.slept_ms(), 5000U);
}

// An attempt that broke off leaves its name in the record.
TEST_F(CancelBetweenTest, ACancelByNameDuringThePauseAfterABreakEndsIt) {
  home_.SetAccount(kNobody, u"anna", u"secret");
  MakeSource("abc");
  on_sleep_ = [] { AskToCancel(kResource); };
  CBackupDAV client;
  EXPECT_TRUE(client.LocalFileTransfer(kSource, kResource));
  EXPECT_EQ(client.last_transfer_failure(), u"canceled");
  EXPECT_EQ(CountInUserLog(u"manually canceled."), 1U);
  EXPECT_EQ(clock_.slept_ms(), 5000U);
}

TEST_F(FileTransferTest, AnOldCancelDoesNotEndANewUpload) {
  MakeSource("abc");
  Store();
  SetProgressDetails(TransferKind::kUpload, kResource, 3, 0, 0);
  char16_t name[260] = u"/big.bin";
  ReadProgressDetails(name, nullptr, nullptr, nullptr, 1);
  EXPECT_TRUE(Transfer());
  EXPECT_TRUE(client_.last_transfer_stored());
}

TEST_F(FileTransferTest, AReplyBeforeTheBodyEndedCounts) {
  constexpr uint32_t kSize = 32 << 20;
  MakeLargeSource(kSize);
  server_.KeepBodies(0);
  server_.OnHead([](const Request& request) {
    return request.verb == "PUT" ? BodyRule::ReplyAfter(102400) : BodyRule::ReadAll();
  });
  server_.On([](const Request&) { return Reply::Status(409, "Conflict"); });
  EXPECT_TRUE(Transfer());
  EXPECT_FALSE(client_.last_transfer_stored());
  EXPECT_EQ(CountInUserLog(kUploaded), 0U);
}

}  // namespace
}  // namespace zv::testing
