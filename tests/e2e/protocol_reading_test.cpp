// Files read through the driver, and what a second process sees and does meanwhile.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <thread>

#include "platform/clock_testing.h"
#include "tests/e2e/protocol_fixture.h"
#include "tests/e2e/transfer_look.h"
#include "tests/platform/child_process.h"

namespace zv::testing {
namespace {

constexpr size_t kThreshold = 51200;  // bytes of a request from which the whole file is brought in
constexpr size_t kMebibyte = 1 << 20;
constexpr std::string_view kDavTime = "Sun, 15 Nov 2026 14:03:09 GMT";

class ReadingTest : public ProtocolTest {
 protected:
  // The file in requests of this many bytes; a text that is no content when one fails.
  std::string Read(TextView path, size_t size, size_t step) {
    std::string content;
    while (content.size() < size) {
      RequestRecord record = MakeRequest(MajorCode::kRestore, path, static_cast<uint32_t>(step));
      record.offset = static_cast<int64_t>(content.size());
      const SubmitResult result = AskTransfer(record);
      const auto reply = ReplyAs<TransferReply>(result);
      if (reply.status != kTransferSuccess || reply.length == 0) return "(the read failed)";
      EXPECT_EQ(reply.length, result.reply.data.size());
      EXPECT_EQ(reply.length, std::min(step, size - content.size()));
      content += TextOf(result.reply.data);
    }
    return content;
  }

  // Says where they differ instead of printing megabytes.
  static void ExpectSame(const std::string& found, const std::string& expected) {
    ASSERT_EQ(found.size(), expected.size());
    EXPECT_TRUE(found == expected)
        << "differs first at byte " << std::ranges::mismatch(found, expected).in1 - found.begin();
  }
};

class ReadingSizesTest : public ReadingTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(ReadingSizesTest, BringsEveryByteInSmallRequests) {
  const std::string content = PatternBytes(0, GetParam());
  account_.PutFile("/Docs/file.bin", content);
  StartServing();
  AskQuery(u"\\Docs\\file.bin");
  ExpectSame(Read(u"\\Docs\\file.bin", GetParam(), kThreshold - 1), content);
}

TEST_P(ReadingSizesTest, BringsEveryByteByWayOfTheCache) {
  const std::string content = PatternBytes(0, GetParam());
  account_.PutFile("/Docs/file.bin", content);
  StartServing();
  EXPECT_EQ(AskQuery(u"\\Docs\\file.bin").size, static_cast<int64_t>(GetParam()));
  ExpectSame(Read(u"\\Docs\\file.bin", GetParam(), kMebibyte), content);
  ExpectSame(ReadContent(u"/Docs/file.bin").value_or(""), content);
  const size_t requests = server_.request_count();
  ExpectSame(Read(u"\\Docs\\file.bin", GetParam(), kThreshold), content);
  EXPECT_EQ(server_.request_count(), requests);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ReadingSizesTest,
                         ::testing::Values(1, kThreshold - 1, kThreshold, kThreshold + 1,
                                           10 * kMebibyte));

// Looks at the transfer under way as another process with the library does.
class Watcher {
 public:
  Watcher() : thread_([this] { Watch(); }) {}
  ~Watcher() { End(); }

  void End() {
    ended_ = true;
    if (thread_.joinable()) thread_.join();
  }
  // Waits until so many bytes were seen to have arrived.
  void AwaitBytes(uint32_t bytes) {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, DriverBench::kPatience,
                                  [&] { return !counts_.empty() && counts_.back() >= bytes; }));
  }

  // After the end. Byte counts as they followed each other, without repetitions.
  const std::vector<uint32_t>& counts() const { return counts_; }
  const std::u16string& name() const { return name_; }
  uint32_t total() const { return total_; }

 private:
  void Watch() {
    while (!ended_) {
      const TransferLook look = LookAtTransfer();
      // A look may fall between two updates, of which the name is the first part and the kind the
      // last: it counts when the next one is of the same transfer.
      const bool is_whole = !look.name.empty() && LookAtTransfer().name == look.name;
      if (look.is_download && is_whole) Note(look);
      std::this_thread::yield();
    }
  }
  void Note(const TransferLook& look) {
    const std::lock_guard lock(mutex_);
    name_ = look.name;
    total_ = std::max(total_, look.total);
    if (!counts_.empty() && counts_.back() == look.done) return;
    counts_.push_back(look.done);
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<uint32_t> counts_;
  std::u16string name_;
  uint32_t total_ = 0;
  std::atomic<bool> ended_ = false;
  std::thread thread_;
};

class TransferTest : public ReadingTest {
 protected:
  // A file of mebibytes, of which one more is sent when the watcher has seen the one before the
  // last.
  Reply WatchedFile(uint64_t first, size_t mebibytes) {
    return Reply::Status(first == 0 ? 200 : 206)
        .Header("Last-Modified", std::string(kDavTime))
        .LongBody(mebibytes * kMebibyte - first, [this, first](uint64_t offset, size_t size) {
          const uint64_t seen = (first + offset) / kMebibyte * kMebibyte;
          if (seen >= 2 * kMebibyte) {
            watcher_.AwaitBytes(static_cast<uint32_t>(seen - 2 * kMebibyte + 1));
          }
          return PatternBytes(first + offset, size);
        });
  }

  VirtualClock clock_;  // for the pause before a resumed download, where the worker is in here
  Watcher watcher_;
};

TEST_F(TransferTest, ProgressNeverRunsBackwards) {
  constexpr size_t kSize = 10;
  server_.On([this](const Request& request) {
    return request.verb == "GET" ? WatchedFile(0, kSize) : account_.Answer(request);
  });
  StartServing();
  ExpectSame(Read(u"\\big.bin", kSize * kMebibyte, kMebibyte), PatternBytes(0, kSize * kMebibyte));
  watcher_.End();
  EXPECT_EQ(watcher_.name(), u"/big.bin");
  EXPECT_EQ(watcher_.total(), kSize * kMebibyte);
  // What is seen once lets at most two more mebibytes go out.
  EXPECT_GE(watcher_.counts().size(), kSize / 2 - 1);
  EXPECT_TRUE(std::ranges::is_sorted(watcher_.counts()));
}

TEST_F(TransferTest, ABrokenDownloadGoesOnAndSoDoesItsProgress) {
  constexpr size_t kSize = 5;
  constexpr uint64_t kCut = 2 * kMebibyte;
  server_.On([this](const Request& request) {
    if (request.verb != "GET") return account_.Answer(request);
    const std::string range = request.Header("Range");
    if (range.empty()) return WatchedFile(0, kSize).CloseAfter(kCut);
    const uint64_t first = std::stoull(range.substr(range.find('=') + 1));
    return WatchedFile(first, kSize)
        .Header("Content-Range", "bytes " + std::to_string(first) + "-" +
                                     std::to_string(kSize * kMebibyte - 1) + "/" +
                                     std::to_string(kSize * kMebibyte));
  });
  StartServing();
  server_.ClearRequests();
  ExpectSame(Read(u"\\big.bin", kSize * kMebibyte, kMebibyte), PatternBytes(0, kSize * kMebibyte));
  watcher_.End();
  EXPECT_TRUE(std::ranges::is_sorted(watcher_.counts()));
  ASSERT_EQ(server_.request_count(), 2u);
  // Whatever was in a buffer when the line broke may be asked for again, and not a byte more.
  const std::string range = server_.requests()[1].Header("Range");
  const uint64_t first = std::stoull(range.substr(range.find('=') + 1));
  EXPECT_LE(first, kCut);
  EXPECT_GT(first, kCut - kMebibyte);
}

// A long body of which one chunk goes out after the cancel, and the rest only after the answer.
// Connections may outlive a test's body, so they share it.
class ChunkAfterCancel {
 public:
  std::string Piece(uint64_t offset, size_t size) {
    std::unique_lock lock(mutex_);
    if (offset < kBefore) return PatternBytes(offset, std::min<size_t>(size, kBefore - offset));
    if (offset == kBefore) {
      changed_.wait_for(lock, DriverBench::kPatience, [this] { return is_cancelled_; });
      return PatternBytes(offset, std::min(size, kChunk));
    }
    if (!changed_.wait_for(lock, DriverBench::kPatience, [this] { return is_answered_; })) {
      needed_more_ = true;
    }
    return PatternBytes(offset, size);
  }
  void Cancelled() { Set(is_cancelled_); }
  void Answered() { Set(is_answered_); }
  bool needed_more() {
    const std::lock_guard lock(mutex_);
    return needed_more_;
  }

 private:
  static constexpr size_t kChunk = 51200;
  static constexpr size_t kBefore = 20 * kChunk;

  void Set(bool& flag) {
    const std::lock_guard lock(mutex_);
    flag = true;
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_cancelled_ = false;
  bool is_answered_ = false;
  bool needed_more_ = false;
};

TEST_F(TransferTest, ASecondProcessStopsADownloadWithinOneChunk) {
  const auto body = std::make_shared<ChunkAfterCancel>();
  server_.On([this, body](const Request& request) {
    if (request.verb != "GET") return account_.Answer(request);
    return Reply::Status(200)
        .Header("Last-Modified", std::string(kDavTime))
        .LongBody(8 * kMebibyte,
                  [body](uint64_t offset, size_t size) { return body->Piece(offset, size); });
  });
  StartServing();
  SubmitResult result;
  std::thread asking(
      [&] { result = AskTransfer(MakeRequest(MajorCode::kRestore, u"\\big.bin", kMebibyte)); });
  EXPECT_EQ(ChildProcess("library_host", {"cancel", "/big.bin"}).Wait(), 0);
  body->Cancelled();
  asking.join();
  body->Answered();
  EXPECT_FALSE(body->needed_more());
  EXPECT_EQ(ReplyAs<TransferReply>(result).status, kTransferFailure);
  EXPECT_EQ(ReadContent(u"/big.bin"), std::nullopt);
}

}  // namespace
}  // namespace zv::testing
