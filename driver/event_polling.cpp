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
    GetTransferRequest,
    kTransferHandlers,
    u"Started Transfer polling",
    u"Received major request %d\n",
    u"Received minor request %d\n",
    u"Improper request %ld while transfer polling",
    u"End trf polling",
    u"Exception while transfer polling, Reason :%s",
};

using PollingMember = void (CEventPolling::*)();

// The two threads serve together or not at all: with one of them alone, programs would wait for the
// other's answers for ever.
struct CommonStart {
  Semaphore told{0, 2};  // one for each thread that has said whether it can serve
  Semaphore go{0, 2};
  std::atomic<bool> serves = true;
};

// The body of a polling thread.
uint32_t PollingThread(CommonStart& start, PollingMember run) {
  constexpr uint32_t kEnded = 1;
  std::optional<CEventPolling> polling;
  GuardedQuietly([&] { polling.emplace(); });
  if (!polling) start.serves = false;
  start.told.Release();
  start.go.Acquire();
  if (!start.serves) return kEnded;
  return GuardedQuietly(kEnded, [&] {
    ((*polling).*run)();
    return kEnded;
  });
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
  const auto log = [&](const Failure& failure) {
    poll_log_.WriteTrace(failure.is_known() ? TextView(u"%s") : loop.failed, failure.text);
  };
  const bool ended = Guarded(false, serve, log);
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
  constexpr PollingMember kLoops[] = {&CEventPolling::InfoPolling, &CEventPolling::TransferPolling};
  CommonStart start;
  std::array<Thread, std::size(kLoops)> threads;
  size_t started = 0;
  GuardedQuietly([&] {
    for (const PollingMember loop : kLoops) {
      threads[started] = Thread::Start([&start, loop] { return PollingThread(start, loop); });
      ++started;
    }
  });
  if (started < std::size(kLoops)) start.serves = false;
  for (size_t i = 0; i < started; ++i) start.told.Acquire();
  for (size_t i = 0; i < started; ++i) start.go.Release();
  WaitForAll(threads);
  return 0;
}

}  // namespace zv
