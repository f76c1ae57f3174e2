// Reading and writing file contents, as the driver sees them.
#include <gtest/gtest.h>

#include <algorithm>

#include "cache/cache_names.h"
#include "driver/transfer_buffer_testing.h"
#include "platform/clock_testing.h"
#include "platform/file.h"
#include "tests/driver/worker_fixture.h"

namespace zv::testing {
namespace {

constexpr TextView kUploadJournal = u"C:\\Stratel Drive\\Upload_dst.txt";

class TransferTest : public WorkerTest {
 protected:
  SubmitResult AskRestore(TextView path, uint32_t length, int64_t offset = 0) {
    RequestRecord request = MakeRequest(MajorCode::kRestore, path, length);
    request.offset = offset;
    SubmitResult result = AskTransfer(request);
    EXPECT_EQ(result.reply.code, IOCTL_RESTORE_REPLY);
    return result;
  }
  size_t CountRequests(std::string_view verb) {
    const auto requests = server_.requests();
    return static_cast<size_t>(std::ranges::count(requests, verb, &Request::verb));
  }
  // The cache cannot store content of this file: a folder stands in its place.
  void BlockContent(TextView path) {
    MakeFolders(CacheNames(home_.CacheFolder(kUser)).GetFileRecordName(path));
  }

  // Retry pauses pass at once.
  VirtualClock clock_;
};

TEST_F(TransferTest, ReadsARange) {
  StartWorker();
  WriteContent(u"/a.txt", "0123456789");
  const SubmitResult result = AskRestore(u"\\a.txt", 4, 3);
  const auto reply = ReplyAs<TransferReply>(result);
  EXPECT_EQ(reply.status, kTransferSuccess);
  EXPECT_EQ(reply.length, 4u);
  EXPECT_EQ(TextOf(result.reply.data), "3456");
  EXPECT_TRUE(PollLogHas(u"Restore of = \\a.txt\noff-set = 3"));
  EXPECT_TRUE(PollLogHas(u"Buf Len = 4"));
  EXPECT_TRUE(PollLogHas(u"Sending rst buff, stat code: 0"));
}

TEST_F(TransferTest, ReadsLessAtTheEndOfAFile) {
  StartWorker();
  WriteContent(u"/a.txt", "0123456789");
  const SubmitResult result = AskRestore(u"\\a.txt", 100, 8);
  EXPECT_EQ(ReplyAs<TransferReply>(result).length, 2u);
  EXPECT_EQ(TextOf(result.reply.data), "89");
  EXPECT_EQ(ReplyAs<TransferReply>(AskRestore(u"\\a.txt", 100, 10)).length, 0u);
}

TEST_F(TransferTest, ReadsNothingOfAnEmptyFileThatIsNotCached) {
  StartWorker();
  ServeMemoryAccount();
  account_.Store("/users/user/Files/empty", "");
  for (const uint32_t length : {1U, 51199U, 51200U}) {
    const auto reply = ReplyAs<TransferReply>(AskRestore(u"\\empty", length));
    EXPECT_EQ(reply.status, kTransferSuccess) << length;
    EXPECT_EQ(reply.length, 0u) << length;
  }
}

TEST_F(TransferTest, ReadsNothingBeyondTheEndOfAFile) {
  StartWorker();
  WriteContent(u"/a.txt", "0123456789");
  const auto reply = ReplyAs<TransferReply>(AskRestore(u"\\a.txt", 4, 11));
  EXPECT_EQ(reply.length, 0u);
  EXPECT_EQ(reply.status, kTransferFailure);
}

TEST_F(TransferTest, LogsTheLowHalfOfALargeOffset) {
  StartWorker();
  WriteContent(u"/a.txt", "0123456789");
  AskRestore(u"\\a.txt", 1, 0x1FFFFFFFF);
  EXPECT_TRUE(PollLogHas(u"Restore of = \\a.txt\noff-set = -1"));
}

TEST_F(TransferTest, SaysThatAFileCannotBeRead) {
  StartWorker();
  const auto reply = ReplyAs<TransferReply>(AskRestore(u"\\missing.txt", 100));
  EXPECT_EQ(reply.status, kTransferFailure);
  EXPECT_EQ(reply.length, 100u);
  EXPECT_TRUE(PollLogHas(u"Sending rst buff, stat code: 1"));
}

TEST_F(TransferTest, SaysThatMemoryRanOut) {
  StartWorker();
  WriteContent(u"/a.txt", "0123456789");
  FailTransferBuffers(1);
  const auto reply = ReplyAs<TransferReply>(AskRestore(u"\\a.txt", 4));
  EXPECT_EQ(reply.status, kTransferNoMemory);
  EXPECT_EQ(reply.length, 4u);
  EXPECT_EQ(reply.buffer, 0u);
  EXPECT_TRUE(PollLogHas(u"Sending rst buff, stat code: 2"));
  EXPECT_EQ(ReplyAs<TransferReply>(AskRestore(u"\\a.txt", 4)).status, kTransferSuccess);
}

TEST_F(TransferTest, ReadsNoBytesIntoAnEmptyBuffer) {
  StartWorker();
  WriteContent(u"/a.txt", "0123456789");
  const auto reply = ReplyAs<TransferReply>(AskRestore(u"\\a.txt", 0));
  EXPECT_EQ(reply.status, kTransferSuccess);
  EXPECT_EQ(reply.length, 0u);
}

TEST_F(TransferTest, StoresABlock) {
  StartWorker();
  const TransferReply first = AskBlock(u"\\a.txt", "01234");
  EXPECT_EQ(first.length, 5u);
  EXPECT_EQ(first.status, kTransferSuccess);
  EXPECT_NE(first.buffer, 0u);
  AskBlock(u"\\a.txt", "56", 5);
  StopWorker();
  EXPECT_EQ(ReadContent(u"/a.txt"), "0123456");
  EXPECT_TRUE(PollLogHas(u"Cache bkp of = \\a.txt\noff-set : 5, buf len : "));
  EXPECT_TRUE(PollLogHas(u"2"));
  EXPECT_EQ(server_.request_count(), 0u);
}

TEST_F(TransferTest, StoresBlocksOfAMebibyte) {
  StartWorker();
  std::string content(2 << 20, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 + (i >> 9));
  const std::string_view text = content;
  EXPECT_EQ(AskBlock(u"\\a.txt", text.substr(0, 1 << 20), 0, true).length, 1u << 20);
  EXPECT_EQ(AskBlock(u"\\a.txt", text.substr(1 << 20), 1 << 20).length, 1u << 20);
  StopWorker();
  EXPECT_EQ(ReadContent(u"/a.txt"), content);
}

TEST_F(TransferTest, StoresWhatTheDriverSupplied) {
  StartWorker();
  const RequestRecord request = MakeBackup(MinorCode::kCacheBackup, u"\\a.txt", 100);
  EXPECT_EQ(ReplyAs<TransferReply>(AskTransfer(request, "only this")).length, 100u);
  StopWorker();
  EXPECT_EQ(ReadContent(u"/a.txt"), "only this");
}

TEST_F(TransferTest, BeginsAFileAnewWithAForcedFirstBlock) {
  StartWorker();
  WriteContent(u"/a.txt", "0123456789");
  AskBlock(u"\\a.txt", "ab", 0, true);
  AskBlock(u"\\a.txt", "cd", 2, true);
  StopWorker();
  EXPECT_EQ(ReadContent(u"/a.txt"), "abcd");
}

TEST_F(TransferTest, StoresAnEmptyBlockOnlyWhenForced) {
  StartWorker();
  AskBlock(u"\\a.txt", "");
  AskBlock(u"\\b.txt", "", 0, true);
  RequestRecord other_flag = MakeBackup(MinorCode::kCacheBackup, u"\\c.txt");
  other_flag.force_store = 2;
  AskTransfer(other_flag);
  StopWorker();
  EXPECT_EQ(ReadContent(u"/a.txt"), std::nullopt);
  EXPECT_EQ(ReadContent(u"/b.txt"), "");
  EXPECT_EQ(ReadContent(u"/c.txt"), std::nullopt);
}

TEST_F(TransferTest, StoresNothingWhenTheDriverSuppliedNothing) {
  StartWorker();
  WriteContent(u"/a.txt", "0123456789");
  bench_->RefuseReplies(2);
  for (const bool force : {false, true}) {
    RequestRecord request = MakeBackup(MinorCode::kCacheBackup, u"\\a.txt", 5);
    request.force_store = force ? 1 : 0;
    EXPECT_EQ(AskTransfer(request, "lost!").outcome, Outcome::kNoReply);
  }
  EXPECT_EQ(AskBlock(u"\\b.txt", "stored").status, kTransferSuccess);
  StopWorker();
  EXPECT_EQ(ReadContent(u"/a.txt"), "0123456789");
  EXPECT_EQ(ReadContent(u"/b.txt"), "stored");
}

TEST_F(TransferTest, RefusesOneBlockAfterABlockThatCouldNotBeStored) {
  StartWorker();
  BlockContent(u"/bad.txt");
  EXPECT_EQ(AskBlock(u"\\bad.txt", "lost").status, kTransferSuccess);
  const TransferReply refused = AskBlock(u"\\a.txt", "refused");
  EXPECT_EQ(refused.status, kTransferFailure);
  EXPECT_EQ(refused.length, 0u);
  EXPECT_EQ(AskBlock(u"\\a.txt", "stored").status, kTransferSuccess);
  StopWorker();
  EXPECT_EQ(ReadContent(u"/a.txt"), "stored");
  EXPECT_EQ(CountPollLines(u"Error caching file contents"), 1u);
}

TEST_F(TransferTest, BeginsNoFileAnewWithAForcedBlockThatIsRefused) {
  StartWorker();
  WriteContent(u"/a.txt", "0123456789");
  BlockContent(u"/bad.txt");
  AskBlock(u"\\bad.txt", "lost");
  EXPECT_EQ(AskBlock(u"\\a.txt", "refused", 0, true).status, kTransferFailure);
  StopWorker();
  EXPECT_EQ(ReadContent(u"/a.txt"), "0123456789");
}

TEST_F(TransferTest, RefusesTheBlockThatItHasNoMemoryFor) {
  StartWorker();
  FailTransferBuffers(1);
  const TransferReply refused = AskBlock(u"\\a.txt", "refused");
  EXPECT_EQ(refused.status, kTransferFailure);
  EXPECT_EQ(refused.length, 0u);
  EXPECT_EQ(refused.buffer, 0u);
  EXPECT_EQ(AskBlock(u"\\a.txt", "stored").status, kTransferSuccess);
  StopWorker();
  EXPECT_EQ(ReadContent(u"/a.txt"), "stored");
  EXPECT_TRUE(PollLogHas(u"Error allocating memory for backup buffer"));
}

TEST_F(TransferTest, SendsAnEmptyFile) {
  StartWorker();
  ServeMemoryAccount();
  const SubmitResult result = AskTransfer(MakeBackup(MinorCode::kZeroBackup, u"\\empty.txt", 77));
  EXPECT_EQ(result.reply.code, IOCTL_BACKUP_REPLY);
  const auto reply = ReplyAs<TransferReply>(result);
  EXPECT_EQ(reply.length, 0u);
  EXPECT_EQ(reply.status, kTransferSuccess);
  EXPECT_EQ(reply.buffer, 0u);
  EXPECT_EQ(account_.Content("/users/user/Files/empty%2Etxt"), "");
  EXPECT_TRUE(PollLogHas(u"Zero bkp of = \\empty.txt"));
}

TEST_F(TransferTest, SaysThatAnEmptyFileCouldNotBeSent) {
  StartWorker();
  server_.On([](const Request&) { return Reply::Status(507); });
  const SubmitResult result = AskTransfer(MakeBackup(MinorCode::kZeroBackup, u"\\empty.txt"));
  EXPECT_EQ(ReplyAs<TransferReply>(result).status, kTransferFailure);
}

TEST_F(TransferTest, SendsACompleteFile) {
  StartWorker();
  ServeMemoryAccount();
  AskBlock(u"\\a.txt", "content");
  const SubmitResult result = AskTransfer(MakeBackup(MinorCode::kBackupComplete, u"\\a.txt"));
  EXPECT_EQ(result.reply.code, IOCTL_TRANSFER_STATUS_REPLY);
  EXPECT_EQ(ReplyAs<StatusWord>(result), 0u);
  EXPECT_EQ(account_.Content("/users/user/Files/a%2Etxt"), "content");
  EXPECT_TRUE(PollLogHas(u"Compl. cache bkp of = \\a.txt"));
}

TEST_F(TransferTest, AnswersACompletionWithSuccessWhateverBecameOfIt) {
  StartWorker();
  server_.On([](const Request&) { return Reply::Status(409); });
  AskBlock(u"\\a.txt", "content");
  const SubmitResult result = AskTransfer(MakeBackup(MinorCode::kBackupComplete, u"\\a.txt"));
  EXPECT_EQ(ReplyAs<StatusWord>(result), 0u);
  EXPECT_EQ(CountRequests("PUT"), 1u);
}

TEST_F(TransferTest, SendsNoReplyToAnUnknownStep) {
  StartWorker();
  for (const uint32_t minor : {0u, 30u, 35u, 0xFFFFFFFFu}) {
    EXPECT_EQ(AskTransfer(MakeBackup(static_cast<MinorCode>(minor), u"\\a.txt")).outcome,
              Outcome::kNoReply);
  }
  EXPECT_EQ(
      CountPollLines(u"Unknown call from driver for backup of = \\a.txt, possible driver hang"),
      4u);
}

// A sync account shows whether a complete file is handed over: the upload journal is written.
class SyncCompletionTest : public TransferTest {
 protected:
  void SetUp() override { StartWorker({.check_freshness = false, .account_type = u"ZVSYNC"}); }

  bool IsHandedOver(TextView path, TextView process = u"notepad.exe") {
    RemoveFile(kUploadJournal);
    MakeFolders(u"C:\\Stratel Drive");
    AskBlock(path, "content");
    RequestRecord request = MakeBackup(MinorCode::kBackupComplete, path);
    request.SetProcessName(process);
    EXPECT_EQ(ReplyAs<StatusWord>(AskTransfer(request)), 0u);
    return FileExists(kUploadJournal);
  }
};

TEST_F(SyncCompletionTest, HandsDocumentsOver) {
  EXPECT_TRUE(IsHandedOver(u"\\a.txt"));
  EXPECT_TRUE(IsHandedOver(u"\\Docs\\~report.doc"));
}

TEST_F(SyncCompletionTest, KeepsTemporaryFiles) {
  EXPECT_FALSE(IsHandedOver(u"\\a.tmp"));
  EXPECT_FALSE(IsHandedOver(u"\\README"));
  EXPECT_FALSE(IsHandedOver(u"\\a.tmp", u"explorer.exe"));
}

TEST_F(SyncCompletionTest, ListsTemporaryFilesWithTheirSizes) {
  WriteListing(u"/", {});
  IsHandedOver(u"\\a.tmp");
  EXPECT_EQ(AskQuery(u"\\a.tmp").size, 7);
}

TEST_F(SyncCompletionTest, HandsEmptyFilesOverForTheShellOnly) {
  MakeFolders(u"C:\\Stratel Drive");
  RequestRecord request = MakeBackup(MinorCode::kZeroBackup, u"\\a.txt");
  request.SetProcessName(u"notepad.exe");
  EXPECT_EQ(ReplyAs<TransferReply>(AskTransfer(request)).status, kTransferSuccess);
  EXPECT_FALSE(FileExists(kUploadJournal));
  request.SetProcessName(u"explorer.exe");
  EXPECT_EQ(ReplyAs<TransferReply>(AskTransfer(request)).status, kTransferSuccess);
  EXPECT_TRUE(FileExists(kUploadJournal));
}

TEST_F(SyncCompletionTest, HandsOfficeLockFilesOverForTheShellOnly) {
  EXPECT_FALSE(IsHandedOver(u"\\~$report.docx"));
  EXPECT_TRUE(IsHandedOver(u"\\~$report.docx", u"EXPLORER.EXE"));
}

}  // namespace
}  // namespace zv::testing
