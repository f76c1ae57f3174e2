#include "apps/zvdrive/queues/request_queues.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace zv {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kNowAndThen{50};

constexpr uint32_t kRefused = EINVAL;

struct ReplyForm {
  uint32_t code;
  DriveQueue queue;
  uint32_t input;   // bytes
  uint32_t output;  // bytes
};

constexpr ReplyForm kReplyForms[] = {
    {IOCTL_DIRECTORY_REPLY, DriveQueue::kInfo, sizeof(DirectoryEntry), 0},
    {IOCTL_QUERY_INFO_REPLY, DriveQueue::kInfo, sizeof(DirectoryEntry), 0},
    {IOCTL_NAMESPACE_REPLY, DriveQueue::kInfo, sizeof(StatusWord), 0},
    {IOCTL_VOLUME_REPLY, DriveQueue::kInfo, sizeof(VolumeReply), 0},
    {IOCTL_RESTORE_REPLY, DriveQueue::kTransfer, sizeof(TransferReply), 0},
    {IOCTL_BACKUP_REPLY, DriveQueue::kTransfer, sizeof(TransferReply), sizeof(TransferReply)},
    {IOCTL_TRANSFER_STATUS_REPLY, DriveQueue::kTransfer, sizeof(StatusWord), 0},
};

const ReplyForm* FindForm(uint32_t code) {
  const auto* form = std::ranges::find(kReplyForms, code, &ReplyForm::code);
  return form == std::end(kReplyForms) ? nullptr : form;
}

std::optional<DriveQueue> FetchedQueue(uint32_t code) {
  if (code == IOCTL_GET_INFO_REQUEST) return DriveQueue::kInfo;
  if (code == IOCTL_GET_TRANSFER_REQUEST) return DriveQueue::kTransfer;
  return std::nullopt;
}

// The worker lives in this process, so its buffer's address holds here.
std::byte* WorkerBuffer(const TransferReply& reply) {
  return reinterpret_cast<std::byte*>(static_cast<uintptr_t>(reply.buffer));
}

RequestRecord EndRecord() {
  RequestRecord record;
  record.major = static_cast<uint32_t>(MajorCode::kEndPolling);
  return record;
}

}  // namespace

// Guarded by its queue's mutex.
struct RequestQueues::Pending {
  explicit Pending(Question&& asked) : question(std::move(asked)) {}

  Question question;
  ChannelReply reply;
  RequestEnd end = RequestEnd::kTimedOut;
  bool abandoned = false;  // who asked has left, and with it what the question refers to
  bool done = false;
  std::condition_variable finished;
};

// Every fetch that waits will look again, and count itself anew if it goes on waiting.
void RequestQueues::NoteChange(Queue& queue) {
  queue.waiting_fetches = 0;
  ++queue.epoch;
}

void RequestQueues::Wake(Queue& queue) {
  NoteChange(queue);
  queue.changed.notify_all();
}

void RequestQueues::Finish(Pending& pending, RequestEnd end) {
  pending.end = end;
  pending.done = true;
}

void RequestQueues::Tell(const PendingPtr& finished) noexcept {
  if (finished) finished->finished.notify_all();
}

RequestQueues::PendingPtr RequestQueues::EndInFlight(Queue& queue, uint64_t file, RequestEnd end) {
  const auto found = queue.in_flight.find(file);
  if (found == queue.in_flight.end() || !found->second) return nullptr;
  PendingPtr finished = std::exchange(found->second, nullptr);
  Finish(*finished, end);
  return finished;
}

RequestQueues::PendingPtr RequestQueues::Begin(Queue& queue, Question question) {
  auto pending = std::make_shared<Pending>(std::move(question));
  {
    const std::lock_guard lock(queue.mutex);
    if (queue.shut_down) {
      Finish(*pending, RequestEnd::kWorkerGone);
      return pending;
    }
    queue.requests.push_back(pending);
    NoteChange(queue);
  }
  // As in Tell.
  queue.changed.notify_all();
  return pending;
}

RequestEnd RequestQueues::Ask(Question question, ChannelReply* reply) {
  Queue& queue = QueueOf(question.queue);
  const PendingPtr pending = Begin(queue, std::move(question));
  const RequestEnd end = Wait(queue, pending);
  if (end == RequestEnd::kReplied) *reply = pending->reply;
  return end;
}

// With the queue's mutex held.
void RequestQueues::Abandon(Queue& queue, const PendingPtr& pending) {
  pending->abandoned = true;
  std::erase(queue.requests, pending);
}

// An exception from while_waiting counts as: stop waiting.
bool RequestQueues::AskWaiter(const WhileWaiting& while_waiting) noexcept {
  try {
    return while_waiting();
  } catch (...) {
    return false;
  }
}

RequestEnd RequestQueues::Wait(Queue& queue, const PendingPtr& pending) {
  const Question& question = pending->question;
  const auto is_done = [&] { return pending->done; };
  const auto until =
      question.patience ? Clock::now() + *question.patience : Clock::time_point::max();
  std::unique_lock lock(queue.mutex);
  while (!is_done() && Clock::now() < until) {
    if (question.while_waiting) {
      lock.unlock();
      const bool goes_on = AskWaiter(question.while_waiting);
      lock.lock();
      if (!goes_on && std::erase(queue.requests, pending) > 0) {
        Finish(*pending, RequestEnd::kWithdrawn);
      }
      pending->finished.wait_for(lock, kNowAndThen, is_done);
    } else if (question.patience) {
      pending->finished.wait_until(lock, until, is_done);
    } else {
      pending->finished.wait(lock, is_done);
    }
  }
  if (!is_done()) Abandon(queue, pending);
  return pending->end;
}

bool RequestQueues::WaitWhile(Queue& queue, const PendingPtr& pending,
                              const WhileWaiting& while_waiting) {
  const auto is_done = [&] { return pending->done; };
  std::unique_lock lock(queue.mutex);
  bool goes_on = true;
  while (goes_on && !is_done()) {
    lock.unlock();
    goes_on = AskWaiter(while_waiting);
    lock.lock();
    if (goes_on) pending->finished.wait_for(lock, kNowAndThen, is_done);
  }
  return is_done();
}

std::optional<ChannelReply> RequestQueues::Submit(DriveQueue queue, const RequestRecord& record,
                                                  std::span<const std::byte> block,
                                                  std::span<std::byte> into,
                                                  const WhileWaiting& while_waiting) {
  size_t received = 0;
  const auto take_data = [&](std::span<const std::byte> data) {
    received = std::min(data.size(), into.size());
    std::copy_n(data.begin(), received, into.begin());
  };
  ChannelReply reply;
  const RequestEnd end =
      Ask({queue, record, {block, {}}, take_data, while_waiting, {}, {}, std::nullopt}, &reply);
  if (end != RequestEnd::kReplied) return std::nullopt;
  reply.data_size = received;
  return reply;
}

class RequestQueues::Row final : public RequestRow {
 public:
  explicit Row(Queue& queue) : queue_(queue) {}
  ~Row() override {
    const std::lock_guard lock(queue_.mutex);
    if (pending_) Abandon(queue_, pending_);
  }
  void Begin(Question question) { pending_ = RequestQueues::Begin(queue_, std::move(question)); }
  bool Wait() override { return RequestQueues::Wait(queue_, pending_) == RequestEnd::kReplied; }
  bool WaitWhile(const WhileWaiting& while_waiting) override {
    return RequestQueues::WaitWhile(queue_, pending_, while_waiting);
  }

 private:
  Queue& queue_;
  PendingPtr pending_;
};

std::unique_ptr<RequestRow> RequestQueues::BeginRow(DriveQueue queue, const RequestRecord& first,
                                                    const HandedBlock& block, NextRequest next,
                                                    RowOrder order) {
  auto row = std::make_unique<Row>(QueueOf(queue));
  row->Begin({queue, first, block, {}, {}, std::move(next), order, std::nullopt});
  return row;
}

void RequestQueues::EndPolling(DriveQueue which) {
  Queue& queue = QueueOf(which);
  const std::lock_guard lock(queue.mutex);
  queue.ended = true;
  Wake(queue);
}

void RequestQueues::RemoveDrive() {
  for (Queue& queue : queues_) {
    const std::lock_guard lock(queue.mutex);
    queue.removed_handles.merge(queue.open_handles);  // without memory, too
    Wake(queue);
  }
}

void RequestQueues::StartDrive() {
  for (Queue& queue : queues_) {
    const std::lock_guard lock(queue.mutex);
    queue.ended = false;
  }
}

void RequestQueues::Shutdown() {
  for (Queue& queue : queues_) {
    const std::lock_guard lock(queue.mutex);
    queue.shut_down = true;
    queue.ended = true;
    queue.idle.notify_all();
    const auto end = [](const PendingPtr& request) {
      Finish(*request, RequestEnd::kWorkerGone);
      Tell(request);
    };
    for (const PendingPtr& request : queue.requests) end(request);
    queue.requests.clear();
    for (auto& [file, request] : queue.in_flight) {
      if (request) end(std::exchange(request, nullptr));
    }
    Wake(queue);
  }
}

void RequestQueues::CancelFetches(DriveQueue which, uint32_t count) {
  Queue& queue = QueueOf(which);
  const std::lock_guard lock(queue.mutex);
  queue.cancelled_fetches = count;
  Wake(queue);
}

bool RequestQueues::WaitForFetch(DriveQueue which, std::chrono::milliseconds patience) {
  Queue& queue = QueueOf(which);
  std::unique_lock lock(queue.mutex);
  queue.idle.wait_for(lock, patience, [&] { return queue.waiting_fetches > 0 || queue.shut_down; });
  return queue.waiting_fetches > 0 && !queue.shut_down;
}

void RequestQueues::OpenHandle(uint64_t file) {
  for (Queue& queue : queues_) {
    const std::lock_guard lock(queue.mutex);
    queue.open_handles.insert(file);
    queue.in_flight[file];
    queue.lent_blocks[file];
  }
}

void RequestQueues::CloseHandle(uint64_t file) {
  for (Queue& queue : queues_) {
    const std::lock_guard lock(queue.mutex);
    queue.open_handles.erase(file);
    queue.removed_handles.erase(file);
    queue.lent_blocks.erase(file);
    Tell(EndInFlight(queue, file, RequestEnd::kWorkerGone));
    queue.in_flight.erase(file);
  }
}

// Fills the record if there is anything to hand out.
bool RequestQueues::HandOut(Queue& queue, uint64_t file, RequestRecord& record) {
  const bool removed = queue.removed_handles.contains(file);
  if (!removed && !queue.requests.empty()) {
    PendingPtr& request = queue.in_flight[file];
    request = std::move(queue.requests.front());
    queue.requests.pop_front();
    record = request->question.record;
    return true;
  }
  if (removed || queue.ended) {
    record = EndRecord();
    return true;
  }
  return false;
}

uint32_t RequestQueues::Fetch(Queue& queue, uint64_t file, RequestRecord& record) {
  std::unique_lock lock(queue.mutex);
  queue.lent_blocks[file].reset();
  Tell(EndInFlight(queue, file, RequestEnd::kNoReply));
  for (bool has_waited = false;; has_waited = true) {
    if (queue.cancelled_fetches > 0) {
      --queue.cancelled_fetches;
      return has_waited ? ECANCELED : EIO;
    }
    if (HandOut(queue, file, record)) return 0;
    const uint32_t seen = queue.epoch;
    ++queue.waiting_fetches;
    queue.idle.notify_all();
    queue.changed.wait(lock, [&] { return queue.epoch != seen; });
  }
}

// Fills the worker's buffer, or tells the worker where the block lies.
void RequestQueues::HandBlockOver(Queue& queue, uint64_t file, TransferReply& transfer) {
  if (!transfer.buffer || transfer.status != kTransferSuccess) return;
  const Pending& pending = *queue.in_flight.at(file);
  const HandedBlock block = pending.abandoned ? HandedBlock() : pending.question.block;
  const size_t size = std::min<size_t>(transfer.length, block.bytes.size());
  transfer.length = static_cast<uint32_t>(size);
  if (size > 0 && block.keeper) {
    queue.lent_blocks[file] = block.keeper;
    transfer.buffer = reinterpret_cast<uintptr_t>(block.bytes.data());
  } else {
    std::copy_n(block.bytes.begin(), size, WorkerBuffer(transfer));
  }
}

// Between the worker and who asked, unless they have left.
void RequestQueues::HandOver(Queue& queue, uint64_t file, void* out) {
  const Pending& pending = *queue.in_flight.at(file);
  TransferReply transfer;
  std::memcpy(&transfer, pending.reply.record.data(), sizeof transfer);
  if (pending.reply.code == IOCTL_BACKUP_REPLY) {
    HandBlockOver(queue, file, transfer);
    std::memcpy(out, &transfer, sizeof transfer);
  }
  const bool takes_data = pending.reply.code == IOCTL_RESTORE_REPLY && pending.question.take_data;
  if (takes_data && transfer.buffer && !pending.abandoned) {
    pending.question.take_data({WorkerBuffer(transfer), transfer.length});
  }
}

// After a reply. What has ended by it: a row ends with its last request only.
RequestQueues::PendingPtr RequestQueues::EndOrGoOn(Queue& queue, uint64_t file) {
  const PendingPtr pending = queue.in_flight.at(file);
  Question& question = pending->question;
  try {
    const bool goes_on =
        question.next && !pending->abandoned && question.next(pending->reply, question.record);
    if (!goes_on) return EndInFlight(queue, file, RequestEnd::kReplied);
    if (question.order == RowOrder::kUnbroken) {
      queue.requests.push_front(pending);
    } else {
      queue.requests.push_back(pending);
    }
  } catch (...) {
    return EndInFlight(queue, file, RequestEnd::kNoReply);
  }
  queue.in_flight.at(file) = nullptr;
  Wake(queue);
  return nullptr;
}

// With the queue's mutex held.
uint32_t RequestQueues::TakeReply(Queue& queue, uint64_t file, uint32_t code,
                                  std::span<const std::byte> in, void* out, PendingPtr* finished) {
  const auto found = queue.in_flight.find(file);
  if (found == queue.in_flight.end() || !found->second) return kRefused;
  Pending& pending = *found->second;
  if (code == IOCTL_RESTORE_REPLY) {
    TransferReply transfer;
    std::memcpy(&transfer, in.data(), sizeof transfer);
    if (transfer.length > pending.question.record.length_or_index) return kRefused;
  }
  // A row that was let go: its block is gone, and an empty one in its place could empty the file.
  if (code == IOCTL_BACKUP_REPLY && pending.abandoned && pending.question.next) {
    *finished = EndInFlight(queue, file, RequestEnd::kNoReply);
    return kRefused;
  }
  // Before the copying: a backup's answer may go into the same buffer.
  pending.reply.code = code;
  pending.reply.record_size = in.size();
  std::ranges::copy(in, pending.reply.record.begin());
  HandOver(queue, file, out);
  *finished = EndOrGoOn(queue, file);
  return 0;
}

uint32_t RequestQueues::Reply(uint64_t file, uint32_t code, const void* in, uint32_t in_size,
                              void* out, uint32_t out_size) {
  const ReplyForm* form = FindForm(code);
  if (!form || in_size != form->input || out_size != form->output) return kRefused;
  Queue& queue = QueueOf(form->queue);
  PendingPtr finished;
  uint32_t error = 0;
  {
    const std::lock_guard lock(queue.mutex);
    error =
        TakeReply(queue, file, code, {static_cast<const std::byte*>(in), in_size}, out, &finished);
  }
  Tell(finished);
  return error;
}

uint32_t RequestQueues::Control(uint64_t file, uint32_t code, const void* in, uint32_t in_size,
                                void* out, uint32_t out_size, uint32_t* returned) {
  uint32_t error = 0;
  if (const auto fetched = FetchedQueue(code)) {
    if (in_size != sizeof(RequestRecord) || out_size != sizeof(RequestRecord)) return kRefused;
    RequestRecord record;
    error = Fetch(QueueOf(*fetched), file, record);
    if (!error) std::memcpy(out, &record, sizeof record);
  } else {
    error = Reply(file, code, in, in_size, out, out_size);
  }
  *returned = error ? 0 : out_size;
  return error;
}

}  // namespace zv
