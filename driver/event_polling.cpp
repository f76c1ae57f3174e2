#include "driver/event_polling.h"

#include <array>
#include <atomic>
#include <iterator>
#include <optional>
#include <span>

#include "config/guard.h"
#include "driver/debug_trace.h"
#include "driver/drive_device.h"
#include "driver/handlers.h"
#include "driver/protocol.h"
#include "platform/thread.h"

namespace zv {

// What the two loops differ in.
struct PollingLoop {
  void (CEventPolling::*run)();
  void (*fetch)(const Device& drive, RequestRecord& record);
  std::span<const HandlerRow> handlers;
  TextView started;
  TextView trace_major;
  TextView trace_minor;
  TextView improper;
  TextView ended;
  TextView failed;
};

namespace {

constexpr uint32_t Code(MajorCode code) { return static_cast<uint32_t>(code); }

constexpr HandlerRow kInfoHandlers[] = {
    {Code(MajorCode::kDirectory), DirectoryRequest},
    {Code(MajorCode::kQueryInfo), QueryInfoRequest},
    {Code(MajorCode::kDelete), DeleteRequest},
    {Code(MajorCode::kRename), RenameRequest},
    {Code(MajorCode::kVolumeInfo), VolumeInfoRequest},
};

constexpr HandlerRow kTransferHandlers[] = {
    {Code(MajorCode::kBackup), BackupRequest},
    {Code(MajorCode::kRestore), RestoreRequest},
};

constexpr PollingLoop kInfoLoop = {
    &CEventPolling::InfoPolling,
    GetInfoRequest,
    kInfoHandlers,
    u"Started Info. polling",
    u"Info Received major request %d\n",
    u"Info Received minor request %d\n",
    u"Improper request %ld while info. polling",
    u"End Info. polling",
    u"Exception while Info. polling, Reason : %s",
};

constexpr PollingLoop kTransferLoop = {
    &CEventPolling::TransferPolling,
    GetTransferRequest,
    kTransferHandlers,
    u"Started Transfer polling",
    u"Received major request %d\n",
    u"Received minor request %d\n",
    u"Improper request %ld while transfer polling",
    u"End trf polling",
    u"Exception while transfer polling, Reason :%s",
};

constexpr const PollingLoop* kLoops[] = {&kInfoLoop, &kTransferLoop};

void LogEnd(CLogEvent& poll_log, const PollingLoop& loop, const Failure& failure) {
  poll_log.WriteTrace(failure.is_known() ? TextView(u"%s") : loop.failed, failure.text);
}

// The two threads serve together or not at all: with one of them alone, programs would wait for the
// other's answers for ever.
class CommonStart {
 public:
  // A thread that was started says whether it can serve, and learns whether all can.
  bool Agree(bool can_serve) {
    if (!can_serve) serves_ = false;
    told_.Release();
    go_.Acquire();
    return serves_;
  }
  // Waits for so many threads, and lets them go.
  void Decide(size_t started) {
    if (started < std::size(kLoops)) serves_ = false;
    for (size_t i = 0; i < started; ++i) told_.Acquire();
    for (size_t i = 0; i < started; ++i) go_.Release();
  }

 private:
  Semaphore told_{0, std::size(kLoops)};
  Semaphore go_{0, std::size(kLoops)};
  std::atomic<bool> serves_ = true;
};

// What cannot be started has no log of its own.
auto LogNotStarted(const PollingLoop& loop) {
  return [&loop](const Failure& failure) {
    CLogEvent poll_log(u"PollDebug.txt");
    LogEnd(poll_log, loop, failure);
  };
}

// The body of a polling thread.
uint32_t PollingThread(CommonStart& start, const PollingLoop& loop) {
  constexpr uint32_t kEnded = 1;
  std::optional<CEventPolling> polling;
  Guarded([&] { polling.emplace(); }, LogNotStarted(loop));
  if (start.Agree(polling.has_value())) ((*polling).*loop.run)();
  return kEnded;
}

}  // namespace

Handler FindHandler(std::span<const HandlerRow> table, uint32_t code) {
  for (const HandlerRow& row : table) {
    if (row.code == code) return row.handler;
  }
  return nullptr;
}

CEventPolling::CEventPolling() : poll_log_(u"PollDebug.txt"), cache_(std::make_unique<CCache>()) {}

CEventPolling::~CEventPolling() = default;

void CEventPolling::InfoPolling() { Poll(kInfoLoop); }

// The driver of a process that was killed knows nothing of the files that it was writing.
void CEventPolling::TransferPolling() {
  cache_->pending().RemoveUnfinished();
  Poll(kTransferLoop);
}

void CEventPolling::Poll(const PollingLoop& loop) {
  const auto serve = [&] {
    ServeUntilEnd(loop);
    return true;
  };
  const bool ended =
      Guarded(false, serve, [&](const Failure& failure) { LogEnd(poll_log_, loop, failure); });
  // A loop that broke off leaves its handle open, so that the driver does not take the worker for
  // gone.
  if (!ended && drive_) drive_->Leak();
}

void CEventPolling::ServeUntilEnd(const PollingLoop& loop) {
  const auto request = std::make_unique<RequestRecord>();
  while (true) {
    if (!drive_) drive_ = OpenDriveDevice(poll_log_);
    poll_log_.WriteTraceText(loop.started);
    loop.fetch(*drive_, *request);
    DebugTrace(loop.trace_major, request->major);
    DebugTrace(loop.trace_minor, request->minor);
    if (const Handler handler = FindHandler(loop.handlers, request->major)) {
      handler(*this, *request);
    } else if (request->major == Code(MajorCode::kEndPolling)) {
      poll_log_.WriteTraceText(loop.ended);
      break;
    } else {
      poll_log_.WriteTrace(loop.improper, request->major);
    }
  }
  drive_.reset();
}

uint32_t RunPolling() {
  CommonStart start;
  std::array<Thread, std::size(kLoops)> threads;
  size_t started = 0;
  for (const PollingLoop* loop : kLoops) {
    const auto start_one = [&] {
      threads[started] = Thread::Start([&start, loop] { return PollingThread(start, *loop); });
      ++started;
    };
    Guarded(start_one, LogNotStarted(*loop));
  }
  start.Decide(started);
  WaitForAll(threads);
  return 0;
}

}  // namespace zv
