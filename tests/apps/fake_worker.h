// The worker as the drive sees it, played in memory: a server's folders and files, a cache with
// listings and contents, the answers to every request, and faults on demand.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "apps/zvdrive/drive/drive_host.h"
#include "driver/protocol.h"
#include "tests/apps/plain_channel.h"

namespace zv::testing {

struct AskedRequest {
  DriveQueue queue = DriveQueue::kInfo;
  MajorCode major = MajorCode::kNone;
  MinorCode minor = MinorCode::kNone;
  Text path;
  Text second_path;
  Text process;
  uint32_t length = 0;  // or index
  int64_t offset = 0;
  bool force = false;

  bool IsBlock() const { return minor == MinorCode::kCacheBackup && (length > 0 || force); }
  bool IsCompletion() const { return minor == MinorCode::kBackupComplete; }
};

using RequestTest = std::function<bool(const AskedRequest&)>;
RequestTest OfMajor(MajorCode major);
RequestTest OfMinor(MinorCode minor);

// Any thread. Paths as on the drive; contents are byte strings.
class FakeWorker final : public PlainChannel, public DriveHost {
 public:
  FakeWorker();

  // --- the server
  void PutFolder(TextView path);
  void PutFile(TextView path, std::string_view content);
  void RemoveFromServer(TextView path);
  // nullopt: absent or a folder.
  std::optional<std::string> ServerFile(TextView path) const;
  bool ServerHasFolder(TextView path) const;
  // Every file with its content and every folder (content: nullopt) but the root.
  std::map<Text, std::optional<std::string>> ServerTree() const;

  // --- the cache
  bool IsCached(TextView path) const;
  // Size that the listings and look-ups give for a file, whatever its content.
  void PretendSize(TextView path, int64_t size);

  // Contents that are changed keep their time, as they do within one tick of a coarse clock.
  void StopClock() { clock_stands_ = true; }
  // As a program does that has it in its memory.
  void ChangeCached(TextView path, std::string_view content);
  // What ContentTime tells of every cached content.
  void PretendContentTime(Seconds1601 time);

  // --- faults
  // No reply comes to these requests; nothing is done.
  void LoseReplies(RequestTest which);
  // A folder's walk ends at once, without ".".
  void FailWalks(bool fail) { fails_walks_ = fail; }
  void FailQueries(bool fail) { fails_queries_ = fail; }
  // Blocks that are acknowledged and not stored.
  void FailStoring(RequestTest which);
  void FailNextBlocks(int count);
  // A failure that an earlier block, whose sender is gone, left behind.
  void SetLatch() { latch_ = true; }
  // Of the disk beneath the cache; contents are brought in only where they fit.
  void SetRoom(int64_t bytes) { room_ = bytes; }
  // Uploads fail; contents stay in the cache.
  void RefuseUploads(bool refuse) { refuses_uploads_ = refuse; }
  // The list of what waits to be sent takes nothing.
  void RefuseNotes(bool refuse) { refuses_notes_ = refuse; }
  void RefuseZeroFiles(bool refuse) { refuses_zero_files_ = refuse; }
  void RefuseRestores(bool refuse) { refuses_restores_ = refuse; }
  void RefuseNamespaceChanges(bool refuse) { refuses_changes_ = refuse; }
  // Renames are answered with success, but what is cached stays under its old name.
  void FailMoves(bool fail) { fails_moves_ = fail; }
  // Completions wait, calling back, until their file's transfer is cancelled.
  void HoldCompletions() { holds_completions_ = true; }
  // So does the next restore.
  void HoldRestore() { holds_restore_ = true; }
  // What goes through the transfers' queue waits in line for as long as who asked wants to.
  void LetTransfersWait(bool wait) { transfers_wait_ = wait; }
  // Called on the asking thread before a request is served.
  void OnRequest(std::function<void(const AskedRequest&)> observer);

  // --- what was asked
  std::vector<AskedRequest> Log() const;
  std::vector<AskedRequest> Log(const RequestTest& which) const;
  size_t Count(const RequestTest& which) const { return Log(which).size(); }
  void ClearLog();
  // Directory requests that cut into another folder's walk.
  int broken_walks() const { return broken_walks_; }
  std::vector<Text> Checked() const;    // CheckLastModified
  std::vector<Text> Cancelled() const;  // CancelTransfer
  // How often somebody who waits was told to go on waiting.
  int held_up() const { return held_up_; }
  int noted_listings() const { return noted_listings_; }
  void SetInterrupted(bool interrupted) { is_interrupted_ = interrupted; }

  // RequestChannel
  std::optional<ChannelReply> Submit(DriveQueue queue, const RequestRecord& record,
                                     std::span<const std::byte> block, std::span<std::byte> into,
                                     const WhileWaiting& while_waiting) override;
  // DriveHost
  void CheckLastModified(TextView path) override;
  uint64_t ContentVersion(TextView path) override;
  // A time that tells which version it is.
  FileTime ContentWritten(TextView path) override {
    return {clock_stands_ ? 1 : ContentVersion(path)};
  }
  void MarkSent(TextView path) override;
  // No real file; the name tells which version it is, too.
  Text ContentFile(TextView path) override;
  void DropContent(TextView path) override;
  bool HasRoom(int64_t bytes) override { return bytes <= room_; }
  std::optional<Seconds1601> ContentTime(TextView path) override;
  void CancelTransfer(TextView path) override;
  bool MarkUnsent(TextView path) override;
  bool IsUnsent(TextView path) override;
  bool IsOverdue(TextView path) override;
  void NoteListing() override { ++noted_listings_; }
  bool IsInterrupted() override { return is_interrupted_; }

  // PlainChannel
  bool HoldsUp(DriveQueue queue) const override {
    const bool holds_up = transfers_wait_ && queue == DriveQueue::kTransfer;
    if (holds_up) ++held_up_;
    return holds_up;
  }

 private:
  struct Node {
    bool is_folder = false;
    std::string content;
    int64_t modified = 0;
    uint64_t version = 0;
  };
  struct Cached {
    std::string content;
    uint64_t server_version = 0;  // that it was brought in from or sent as
    uint64_t version = 0;
  };
  struct Listed {
    bool is_folder = false;
    int64_t size = 0;
    int64_t modified = 0;
  };
  using Listing = std::map<Text, Listed>;

  ChannelReply Answer(const AskedRequest& asked, std::span<const std::byte> block,
                      std::span<std::byte> into);
  ChannelReply AnswerWalk(const AskedRequest& asked);
  ChannelReply AnswerQuery(const AskedRequest& asked);
  ChannelReply AnswerRestore(const AskedRequest& asked, std::span<std::byte> into);
  ChannelReply AnswerBackup(const AskedRequest& asked, std::span<const std::byte> block);
  ChannelReply AnswerBlock(const AskedRequest& asked, std::span<const std::byte> block);
  ChannelReply AnswerDelete(const AskedRequest& asked);
  ChannelReply AnswerRename(const AskedRequest& asked);
  void HoldUntilCancelled(const AskedRequest& asked, const WhileWaiting& while_waiting);

  Listing Fetch(const Text& folder) const;
  Listing* ListingOf(const Text& folder);
  void Record(const Text& path, const Listed& entry);
  void Unrecord(const Text& path);
  bool Restore(const Text& path);
  bool Upload(const Text& path);
  void PutOnServer(const Text& path, bool is_folder, std::string_view content);
  uint32_t RenameAll(const Text& from, const Text& to, bool replace);
  void Remove(const Text& path);
  int64_t SizeOf(const Text& path, int64_t size) const;

  mutable std::mutex mutex_;
  std::map<Text, Node> nodes_;
  std::map<Text, Cached> contents_;
  std::map<Text, Listing> listings_;
  std::map<Text, int64_t> pretended_sizes_;
  std::set<Text> unsent_;
  std::set<Text> overdue_;
  std::optional<Seconds1601> content_time_;
  uint64_t last_version_ = 0;
  int64_t now_ = 13'000'000'000;

  struct Walk {
    Text folder;
    std::vector<std::pair<Text, Listed>> entries;
  };
  Walk walk_;

  RequestTest loses_;
  RequestTest fails_storing_;
  std::atomic<int> failing_blocks_ = 0;
  std::atomic<bool> fails_walks_ = false;
  std::atomic<bool> fails_queries_ = false;
  std::atomic<bool> latch_ = false;
  std::atomic<bool> refuses_uploads_ = false;
  std::atomic<bool> refuses_zero_files_ = false;
  std::atomic<bool> refuses_restores_ = false;
  std::atomic<bool> refuses_changes_ = false;
  std::atomic<bool> fails_moves_ = false;
  std::atomic<bool> refuses_notes_ = false;
  std::atomic<int64_t> room_ = INT64_MAX;
  std::atomic<bool> clock_stands_ = false;
  std::atomic<bool> holds_completions_ = false;
  std::atomic<bool> holds_restore_ = false;
  std::atomic<bool> transfers_wait_ = false;
  mutable std::atomic<int> held_up_ = 0;
  std::atomic<bool> is_interrupted_ = false;
  std::atomic<int> noted_listings_ = 0;
  std::atomic<int> broken_walks_ = 0;
  std::function<void(const AskedRequest&)> observer_;

  std::vector<AskedRequest> log_;
  std::vector<Text> checked_;
  std::vector<Text> cancelled_;
};

}  // namespace zv::testing
