// A worker that serves a playing driver: home, scripted server and polling threads for each test.
#pragma once

#include <atomic>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "driver/protocol.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "tests/support/driver_bench.h"
#include "tests/support/http_server.h"
#include "tests/support/test_home.h"

namespace zv::testing {

inline constexpr TextView kUser = u"user";
inline constexpr TextView kPollLog = u"PollDebug.txt";

// A record with its path.
RequestRecord MakeRequest(MajorCode major, TextView path, uint32_t length_or_index = 0);
RequestRecord MakeBackup(MinorCode minor, TextView path, uint32_t length = 0);
std::vector<std::byte> BytesOf(std::string_view text);
std::string TextOf(const std::vector<std::byte>& bytes);

// What a folder's PROPFIND of depth 1 brings: the members (paths below the root, folders with "/"
// at the end), then the folder itself. Everything is last modified at one time.
Reply FolderReply(std::string_view folder, std::initializer_list<std::string_view> members);

// An account server's files in memory: PUT, GET, HEAD, DELETE, MOVE, MKCOL and PROPFIND of depth 0.
class MemoryAccount {
 public:
  Reply operator()(const Request& request);
  std::optional<std::string> Content(const std::string& target);
  void Store(const std::string& target, std::string content);

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> files_;  // by target as it is on the wire
};

template <typename Record>
Record ReplyAs(const SubmitResult& result) {
  Record record{};
  EXPECT_EQ(result.outcome, Outcome::kReplied);
  EXPECT_EQ(result.reply.record.size(), sizeof record);
  if (result.reply.record.size() == sizeof record) {
    std::copy_n(result.reply.record.begin(), sizeof record, reinterpret_cast<std::byte*>(&record));
  }
  return record;
}

class WorkerTest : public HomeTest {
 protected:
  WorkerTest();
  ~WorkerTest() override;

  // Settings of the account on the scripted server, the drive Y: and the polling threads. Without
  // the freshness check unless asked for: what a test writes into the cache is served as it is.
  void StartWorker(AccountOptions options = {.check_freshness = false});
  void StartPollingThreads();
  // The server keeps files in memory.
  void ServeMemoryAccount();
  // Ends both queues and waits for the threads.
  void StopWorker();

  SubmitResult Ask(RequestQueue queue, const RequestRecord& record, std::string_view block = {});
  SubmitResult AskInfo(const RequestRecord& record) { return Ask(RequestQueue::kInfo, record); }
  SubmitResult AskTransfer(const RequestRecord& record, std::string_view block = {}) {
    return Ask(RequestQueue::kTransfer, record, block);
  }
  DirectoryEntry AskDirectory(TextView path, uint32_t index);
  DirectoryEntry AskQuery(TextView path, TextView name = {});
  StatusWord AskRename(TextView source, TextView target, uint32_t minor = 0);
  TransferReply AskBlock(TextView path, std::string_view block, int64_t offset = 0,
                         bool force_store = false);

  // Lines "name?flag?size?attributes?created?written" of a folder's listing in the cache.
  void WriteListing(TextView folder, std::initializer_list<TextView> lines) const;
  std::optional<std::string> ReadContent(TextView path) const;
  void WriteContent(TextView path, std::string_view content) const;
  bool PollLogHas(TextView line) const { return home_.LogHasLine(kPollLog, line); }
  size_t CountPollLines(TextView line) const;

  MemoryAccount account_;
  HttpServer server_;
  std::unique_ptr<DriverBench> bench_;
  Thread polling_;
  bool is_polling_ = false;
  std::atomic<bool> polling_returned_ = false;
};

}  // namespace zv::testing
