#include "apps/zvdrive/pending_sender.h"

#include <vector>

#include "config/guard.h"
#include "platform/clock.h"
#include "worker/host_services.h"

namespace zv {
namespace {

constexpr uint32_t kPollInterval = 100;  // ms
constexpr TextView kOwnProcess = u"zvdrive";

// What fails here, the lack of memory included, stays on the list.
void SendAgain(VirtualDrive& drive, const PendingUpload& upload) {
  GuardedQuietly(DriveError::kIo, [&] {
    return drive.SendAgain(ReplaceAll(upload.path, u'/', u'\\'), upload.kind != PendingKind::kEmpty,
                           kOwnProcess);
  });
}

}  // namespace

PendingSender::PendingSender(VirtualDrive& drive, uint32_t interval)
    : drive_(drive), thread_(Thread::Start([this, interval] { return Run(interval); })) {}

PendingSender::~PendingSender() {
  AskToStop();
  thread_.Join();
}

void PendingSender::SendAll() {
  for (const PendingUpload& upload : ListPendingUploads().value_or(std::vector<PendingUpload>())) {
    if (stop_) break;
    if (upload.kind == PendingKind::kCacheOnly) continue;
    SendAgain(drive_, upload);
  }
}

uint32_t PendingSender::Run(uint32_t interval) {
  while (!stop_) {
    SendAll();
    for (uint32_t slept = 0; slept < interval && !stop_; slept += kPollInterval) {
      SleepMs(kPollInterval);
    }
  }
  return 0;
}

}  // namespace zv
