// What each request means: one handler for each kind, and the tables that the loops look them up
// in.
//
// A handler asks the cache, sends its reply on the polling object's drive and, when the namespace
// has changed, tells the shell. It runs on the thread of its queue and never throws: a failure is
// written to the poll log, and when it came before the reply, none is sent.
#pragma once

#include <cstdint>
#include <span>

#include "driver/event_polling.h"
#include "driver/protocol.h"

namespace zv {

using Handler = void (*)(CEventPolling& polling, const RequestRecord& request);

struct HandlerRow {
  uint32_t code;  // major, or minor within a backup
  Handler handler;
};

// Null when the table has no such code.
Handler FindHandler(std::span<const HandlerRow> table, uint32_t code);

// --- info queue
void DirectoryRequest(CEventPolling& polling, const RequestRecord& request);
void QueryInfoRequest(CEventPolling& polling, const RequestRecord& request);
void VolumeInfoRequest(CEventPolling& polling, const RequestRecord& request);
void DeleteRequest(CEventPolling& polling, const RequestRecord& request);
void RenameRequest(CEventPolling& polling, const RequestRecord& request);

// --- transfer queue
void RestoreRequest(CEventPolling& polling, const RequestRecord& request);
// Passes a step of a backup on to one of the four below, by minor code.
void BackupRequest(CEventPolling& polling, const RequestRecord& request);
void ZeroBackupRequest(CEventPolling& polling, const RequestRecord& request);
void CreateDirectoryRequest(CEventPolling& polling, const RequestRecord& request);
void CacheBackupRequest(CEventPolling& polling, const RequestRecord& request);
void BackupCompletion(CEventPolling& polling, const RequestRecord& request);

}  // namespace zv
