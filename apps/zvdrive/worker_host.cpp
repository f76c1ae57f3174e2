#include "apps/zvdrive/worker_host.h"

#include "apps/zvdrive/cancel_transfer.h"
#include "config/settings.h"
#include "include/zvworker/zvworker.h"
#include "platform/format.h"
#include "worker/host_services.h"

namespace zv {

WorkerHost::WorkerHost(Text drive_letter, std::function<bool()> is_interrupted)
    : drive_letter_(std::move(drive_letter)), is_interrupted_(std::move(is_interrupted)) {}

void WorkerHost::CheckLastModified(TextView path) {
  CheckLastModifiedTime((drive_letter_ + Text(path)).c_str());
}

uint64_t WorkerHost::ContentVersion(TextView path) { return CachedContentVersion(path); }

std::optional<Seconds1601> WorkerHost::ContentTime(TextView path) {
  const FileTime time = CachedContentTime(path);
  return time != FileTime{} ? std::optional(ToSeconds(time)) : std::nullopt;
}

Text WorkerHost::ContentFile(TextView path) { return CachedContentFile(path); }

void WorkerHost::DropContent(TextView path) { DropCachedContent(path); }

FileTime WorkerHost::ContentWritten(TextView path) { return CachedContentWritten(path); }

bool WorkerHost::HasRoom(int64_t bytes) { return CacheHasRoom(bytes); }

// A transfer is named by its server path.
void WorkerHost::CancelTransfer(TextView path) { AskToCancel(ReplaceAll(path, u'\\', u'/')); }

bool WorkerHost::MarkUnsent(TextView path) { return MarkUploadPending(path); }
void WorkerHost::MarkSent(TextView path) { UnmarkUploadPending(path); }
bool WorkerHost::IsUnsent(TextView path) { return IsUploadPending(path); }
bool WorkerHost::IsOverdue(TextView path) { return IsUploadOverdue(path); }

// The stored figure is the host's to keep: with it the volume's used space and the shared one
// agree.
void WorkerHost::NoteListing() {
  const std::lock_guard lock(mutex_);
  const uint64_t used = GetUsedSpace();
  if (used == noted_used_space_) return;
  noted_used_space_ = used;
  WriteRegistryString(kConnectionParameters, u"OLdUsedQuota", Format(u"%I64u", used));
}

bool WorkerHost::IsInterrupted() { return is_interrupted_ && is_interrupted_(); }

}  // namespace zv
