// The driver's two blocking request queues, within one process: what a drive asks for on one side,
// what the worker's device calls fetch and answer on the other.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>

#include "apps/zvdrive/drive/request_channel.h"
#include "driver/protocol.h"

namespace zv {

enum class RequestEnd {
  kReplied,
  kNoReply,     // the worker fetched again without a reply: its handler failed
  kWorkerGone,  // the handle that had fetched the request was closed, or the queues were shut down
  kTimedOut,    // a request that nobody has fetched is withdrawn; a late reply is taken and dropped
  kWithdrawn,   // who asked did not want to wait any longer, and nobody had fetched it yet
};

// A request waits until a fetch takes it. From then on it is in flight on the handle that fetched
// it, until a reply of its queue comes on that handle, the handle fetches from that queue again, or
// it is closed.
//
// Any thread may call any member. Who waits sleeps at once: to look out for the other side first,
// giving way meanwhile, costs a whole time slice of whoever else computes on a busy machine, and
// saves next to nothing on an idle one.
class RequestQueues final : public RequestChannel {
 public:
  struct Question {
    DriveQueue queue = DriveQueue::kInfo;
    RequestRecord record;
    HandedBlock block;
    // Gets the bytes of a restore, on the worker's thread; may be empty.
    std::function<void(std::span<const std::byte>)> take_data;
    WhileWaiting while_waiting;  // may be empty
    // Makes the request that follows a reply, on the worker's thread. The question ends when there
    // is none, and without a reply when it throws.
    NextRequest next;
    RowOrder order = RowOrder::kAmongOthers;
    std::optional<std::chrono::milliseconds> patience;  // without limit when missing
  };

  // --- who asks
  RequestEnd Ask(Question question, ChannelReply* reply);
  std::optional<ChannelReply> Submit(DriveQueue queue, const RequestRecord& record,
                                     std::span<const std::byte> block, std::span<std::byte> into,
                                     const WhileWaiting& while_waiting) override;
  std::unique_ptr<RequestRow> BeginRow(DriveQueue queue, const RequestRecord& first,
                                       const HandedBlock& block, NextRequest next,
                                       RowOrder order) override;

  // --- who owns the drive
  // From now on a fetch that finds no request, one that waits included, gets the end code.
  void EndPolling(DriveQueue queue);
  // The handles that are open now belong to a drive that is gone: whatever they fetch is the end
  // code.
  void RemoveDrive();
  // A new drive: ends of polling are forgotten.
  void StartDrive();
  // Nobody will serve requests any more: those that are under way and all later ones end as
  // kWorkerGone.
  void Shutdown();
  // The next fetches, so many, fail as a cancelled call does; fetches that wait fail now and count.
  void CancelFetches(DriveQueue queue, uint32_t count);
  // Waits until a fetch waits: the worker is idle there. False when `patience` runs out, and when
  // nobody serves any more.
  bool WaitForFetch(DriveQueue queue, std::chrono::milliseconds patience);

  // --- the worker's device calls; `file` tells handles apart
  void OpenHandle(uint64_t file);
  void CloseHandle(uint64_t file);
  // Fetches and replies. 0, or the error code of a call that is refused (EINVAL), failed at once
  // (EIO) or while it waited (ECANCELED). returned: bytes written to out.
  uint32_t Control(uint64_t file, uint32_t code, const void* in, uint32_t in_size, void* out,
                   uint32_t out_size, uint32_t* returned);

 private:
  struct Pending;
  using PendingPtr = std::shared_ptr<Pending>;
  class Row;

  struct Queue {
    std::mutex mutex;
    std::condition_variable changed;  // with every step of epoch
    std::condition_variable idle;     // with every fetch that begins to wait, and the shutdown
    uint32_t epoch = 0;
    std::deque<PendingPtr> requests;
    // By handle, null when none is. An open handle keeps its place in this map and the next: a
    // fetch that failed for want of memory would end the worker's loop.
    std::map<uint64_t, PendingPtr> in_flight;
    // Of the blocks that the worker works on where they lie, until its next fetch.
    std::map<uint64_t, std::shared_ptr<const void>> lent_blocks;
    std::set<uint64_t> open_handles;     // of the drive that is there
    std::set<uint64_t> removed_handles;  // open, too, but of one that is gone
    uint32_t waiting_fetches = 0;        // since the last step of epoch
    uint32_t cancelled_fetches = 0;
    bool ended = false;
    bool shut_down = false;
  };

  Queue& QueueOf(DriveQueue queue) { return queues_[static_cast<size_t>(queue)]; }
  static void NoteChange(Queue& queue);
  static void Wake(Queue& queue);
  static void Finish(Pending& pending, RequestEnd end);
  // Tells who asked. For what is finished, once its queue's mutex is free: who is woken before that
  // would only wait again. Null is nobody.
  static void Tell(const PendingPtr& finished) noexcept;
  // What is finished by it, to be told; null when nothing is in flight.
  [[nodiscard]] static PendingPtr EndInFlight(Queue& queue, uint64_t file, RequestEnd end);
  static PendingPtr Begin(Queue& queue, Question question);
  static RequestEnd Wait(Queue& queue, const PendingPtr& pending);
  // Whether it has ended.
  static bool WaitWhile(Queue& queue, const PendingPtr& pending, const WhileWaiting& while_waiting);
  static void Abandon(Queue& queue, const PendingPtr& pending);
  static bool AskWaiter(const WhileWaiting& while_waiting) noexcept;
  static bool HandOut(Queue& queue, uint64_t file, RequestRecord& record);
  static uint32_t Fetch(Queue& queue, uint64_t file, RequestRecord& record);
  static void HandBlockOver(Queue& queue, uint64_t file, TransferReply& transfer);
  static void HandOver(Queue& queue, uint64_t file, void* out);
  [[nodiscard]] static PendingPtr EndOrGoOn(Queue& queue, uint64_t file);
  static uint32_t TakeReply(Queue& queue, uint64_t file, uint32_t code,
                            std::span<const std::byte> in, void* out, PendingPtr* finished);
  uint32_t Reply(uint64_t file, uint32_t code, const void* in, uint32_t in_size, void* out,
                 uint32_t out_size);

  Queue queues_[2];
};

}  // namespace zv
