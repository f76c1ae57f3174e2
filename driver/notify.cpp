#include "driver/notify.h"

#include <algorithm>
#include <memory>

#include "config/guard.h"
#include "config/log.h"
#include "platform/shell.h"
#include "platform/thread.h"

namespace zv {
namespace {

void CopyPath(TextView path, char16_t (&field)[kPathUnits]) {
  std::copy_n(path.data(), std::min(path.size(), kPathUnits - 1), field);
}

// The thread outlives the polling object, so it writes through a log object of its own.
void LogFailure(const Failure& failure) {
  CLogEvent poll_log(u"PollDebug.txt");
  if (failure.is_known()) {
    poll_log.WriteTrace(u"Error in NotifyThreadProc, Reason:%s", failure.text);
  } else {
    poll_log.WriteTraceText(u"Exception in NotifyThreadProc!");
  }
}

}  // namespace

void NotifyShell(uint32_t event, TextView first_path, TextView second_path) {
  const auto start = [&] {
    if (!ShellHearsOf(event)) return;  // a thread is dear beside a small file's other steps
    const auto notification = std::make_shared<NotificationRecord>();
    notification->event = event;
    CopyPath(first_path, notification->first_path);
    CopyPath(second_path, notification->second_path);
    Thread::Start([notification] { return NotifyThreadProc(*notification); });
  };
  Guarded(start, LogFailure);
}

uint32_t NotifyThreadProc(const NotificationRecord& notification) {
  const auto notify = [&]() -> uint32_t {
    const bool rename = notification.event == kShellRenameItem;
    NotifyShellChange(notification.event, notification.first_path,
                      rename ? TextView(notification.second_path) : TextView());
    return 0;
  };
  return Guarded(uint32_t{0}, notify, LogFailure);
}

}  // namespace zv
