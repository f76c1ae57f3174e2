// Reading file contents, and the steps by which file contents are written.
#include <algorithm>
#include <atomic>

#include "config/file_names.h"
#include "driver/drive_device.h"
#include "driver/handler_guard.h"
#include "driver/handlers.h"
#include "driver/notify.h"
#include "driver/request_paths.h"
#include "driver/transfer_buffer.h"
#include "platform/shell.h"
#include "webdav/transfer_request.h"

namespace zv {
namespace {

constexpr HandlerTexts kCacheBackupTexts = {
    u"Error processing cache file back up of %s, Reason: %s",
    u"Exception while cache-backing up file!"};

// Set when a block could not be stored: it was already acknowledged, so the next one is refused
// instead, and the driver learns of the failure. One for the process.
std::atomic<bool> g_backup_failed = false;

TransferRequest StepOf(const RequestRecord& request) {
  TransferRequest step;
  step.path = ServerPath(request.Path());
  step.length = request.length_or_index;
  step.offset = request.offset;
  return step;
}

// Reads into the step's buffer and fills the reply from what the cache left in the step.
void ReadStep(CCache& cache, TransferRequest& step, TransferReply& reply) {
  if (!cache.ReadCachedFile(step)) reply.status = kTransferFailure;
  const bool past_the_end = step.file_size == -1;
  reply.length = past_the_end ? 0 : step.length;
}

// Asks the driver for the block. False when there is none to store: it was refused, or the driver
// took no reply and supplied nothing.
bool ReceiveBlock(CEventPolling& polling, TransferReply& reply) {
  const bool refuse = g_backup_failed;
  if (refuse) {
    reply.status = kTransferFailure;
    reply.length = 0;
  }
  const bool supplied = ExchangeBackupReply(polling.drive(), reply);
  if (refuse) g_backup_failed = false;
  return supplied && !refuse;
}

// Where the block lies after the driver supplied it. A driver in this process may leave it where
// it is, until the next fetch, and say so.
std::byte* SuppliedBlock(const TransferReply& reply, const TransferBuffer& buffer) {
  if (!Device::SharesMemory() || reply.buffer == 0) return buffer.data();
  return reinterpret_cast<std::byte*>(static_cast<uintptr_t>(reply.buffer));
}

void StoreBlock(CEventPolling& polling, const TransferRequest& block) {
  if (block.length == 0 && !block.force_store) return;
  if (polling.cache().CacheFile(block)) return;
  polling.poll_log().WriteTraceText(u"Error caching file contents");
  g_backup_failed = true;
}

// Whether a complete file of a sync account is handed over: one whose name has an extension is,
// but no temporary file, and an office lock file only when the shell wrote it. An ordinary account
// sends every file.
bool SendsOnCompletion(const RequestRecord& request) {
  const int name_class = ClassifyFileName(request.Path());
  if (name_class == kOfficeLockName) return IsFromExplorer(request);
  return name_class == kOrdinaryName;
}

constexpr uint32_t Code(MinorCode code) { return static_cast<uint32_t>(code); }

constexpr HandlerRow kBackupSteps[] = {
    {Code(MinorCode::kZeroBackup), ZeroBackupRequest},
    {Code(MinorCode::kCreateDirectory), CreateDirectoryRequest},
    {Code(MinorCode::kCacheBackup), CacheBackupRequest},
    {Code(MinorCode::kBackupComplete), BackupCompletion},
};

}  // namespace

void RestoreRequest(CEventPolling& polling, const RequestRecord& request) {
  constexpr HandlerTexts kTexts = {u"Error processing cached file restore of %s, Reason: %s",
                                   u"Exception while restoring cached file!"};
  GuardHandler(polling, kTexts, request.Path(), [&] {
    CLogEvent& log = polling.poll_log();
    log.WriteTrace(u"Restore of = %s\noff-set = %ld", request.Path(), request.offset);
    log.WriteTrace(u"Buf Len = %ld", request.length_or_index);
    const TransferBuffer buffer(request.length_or_index, TransferBuffer::Content::kZeros);
    TransferReply reply{request.length_or_index, kTransferSuccess, buffer.address()};
    if (buffer) {
      TransferRequest step = StepOf(request);
      step.buffer = buffer.data();
      ReadStep(polling.cache(), step, reply);
    } else {
      reply.status = kTransferNoMemory;
    }
    log.WriteTrace(u"Sending rst buff, stat code: %d", reply.status);
    SendRestoreReply(polling.drive(), reply);
  });
}

void BackupRequest(CEventPolling& polling, const RequestRecord& request) {
  if (const Handler step = FindHandler(kBackupSteps, request.minor)) {
    step(polling, request);
  } else {
    polling.poll_log().WriteTrace(
        u"Unknown call from driver for backup of = %s, possible driver hang", request.Path());
  }
}

void CacheBackupRequest(CEventPolling& polling, const RequestRecord& request) {
  GuardHandler(polling, kCacheBackupTexts, request.Path(), [&] {
    CLogEvent& log = polling.poll_log();
    log.WriteTrace(u"Cache bkp of = %s\noff-set : %ld, buf len : ", request.Path(), request.offset);
    log.WriteTrace(u"%ld", request.length_or_index);
    TransferRequest block = StepOf(request);
    block.force_store = request.force_store == 1;
    const TransferBuffer buffer(block.length, TransferBuffer::Content::kAny);
    if (!buffer) {
      log.WriteTraceText(u"Error allocating memory for backup buffer");
      g_backup_failed = true;
    }
    TransferReply reply{block.length, kTransferSuccess, buffer.address()};
    if (!ReceiveBlock(polling, reply)) return;
    block.buffer = SuppliedBlock(reply, buffer);
    // The driver says how much it supplied; the buffer holds no more than was asked for.
    block.length = std::min(reply.length, block.length);
    StoreBlock(polling, block);
  });
}

void ZeroBackupRequest(CEventPolling& polling, const RequestRecord& request) {
  GuardHandler(polling, kCacheBackupTexts, request.Path(), [&] {
    polling.poll_log().WriteTrace(u"Zero bkp of = %s", request.Path());
    TransferRequest empty_file;
    empty_file.path = ServerPath(request.Path());
    TransferReply reply;
    const bool made = polling.cache().BackupZeroFile(empty_file, IsFromExplorer(request));
    if (!made) reply.status = kTransferFailure;
    ExchangeBackupReply(polling.drive(), reply);
    if (made && !request.Path().empty()) {
      NotifyShell(kShellCreateItem, LocalFullPath(request.Path()));
    }
  });
}

void BackupCompletion(CEventPolling& polling, const RequestRecord& request) {
  constexpr HandlerTexts kTexts = {u"Error processing file back up of %s, Reason: %s",
                                   u"Exception while backing up file!"};
  GuardHandler(polling, kTexts, request.Path(), [&] {
    const TextView path = request.Path();
    polling.poll_log().WriteTrace(u"Compl. cache bkp of = %s", path);
    polling.cache().TransferCachedFile(path, SendsOnCompletion(request));
    SendTransferStatusReply(polling.drive(), kTransferSuccess);
    if (!path.empty()) NotifyShell(kShellUpdateItem, LocalFullPath(path));
  });
}

}  // namespace zv
