// The thirteen exports: each is one call into the room that does the work.
#include <cstring>

#include "cache/cache.h"
#include "cache/find_data.h"
#include "config/guard.h"
#include "driver/debug_trace.h"
#include "driver/event_polling.h"
#include "include/zvworker/zvworker.h"
#include "upload/backup_dav.h"
#include "webdav/webdav.h"
#include "worker/application.h"
#include "worker/progress.h"

static_assert(sizeof(ZvFindData) == sizeof(zv::FindData));
static_assert(offsetof(ZvFindData, last_write_time) == offsetof(zv::FindData, last_write_time));
static_assert(offsetof(ZvFindData, size_low) == offsetof(zv::FindData, size_low));
static_assert(offsetof(ZvFindData, name) == offsetof(zv::FindData, name));
static_assert(sizeof(void*) != 8 || sizeof(ZvNetResource) == 48);
static_assert(sizeof(void*) != 8 || offsetof(ZvNetResource, local_name) == 16);
static_assert(sizeof(void*) != 8 || offsetof(ZvNetResource, remote_name) == 24);

namespace {

using zv::TextView;

constexpr size_t kLocalPathUnits = 259;

TextView ViewOf(const ZvChar* text) { return text ? TextView(text) : TextView(); }

// Paths that pass through a local buffer of 520 bytes are cut there.
TextView CutToBuffer(const ZvChar* path) { return ViewOf(path).substr(0, kLocalPathUnits); }

// What the operations let out can only be lack of memory while an object is made, or the shared
// block mapped.
using zv::GuardedQuietly;

}  // namespace

extern "C" {

uint32_t ZVWORKER_CALL CreateNewDrive(const ZvNetResource* net_resource, const ZvChar* password,
                                      const ZvChar* user_name) {
  zv::DebugTrace(u"Attempting to create the drive\n");
  if (!net_resource) return ZV_BAD_NET_NAME;
  return zv::g_connection.CreateDrive(ViewOf(net_resource->local_name),
                                      ViewOf(net_resource->remote_name), ViewOf(password),
                                      ViewOf(user_name));
}

uint32_t ZVWORKER_CALL DeleteNewDrive(const ZvChar* local_name) {
  return zv::g_connection.DeleteDrive(ViewOf(local_name));
}

uint32_t ZVWORKER_CALL StartPolling(void) {
  return GuardedQuietly(uint32_t{0}, [] { return zv::RunPolling(); });
}

uint32_t ZVWORKER_CALL GetDriveConnection(const ZvChar* local_name, ZvChar* remote_name,
                                          uint32_t* length) {
  return zv::g_connection.GetConnection(ViewOf(local_name), remote_name, length);
}

int32_t ZVWORKER_CALL GetInternetDetails(ZvChar* name, uint32_t* first_count,
                                         uint32_t* second_count, uint32_t* elapsed_seconds,
                                         uint16_t mode) {
  return GuardedQuietly(int32_t{0}, [&] {
    return zv::ReadProgressDetails(name, first_count, second_count, elapsed_seconds, mode);
  });
}

uint32_t ZVWORKER_CALL WrapperUpdate(const ZvChar* path, const ZvFindData* information) {
  return GuardedQuietly(uint32_t{0}, [&]() -> uint32_t {
    if (!information) return 0;
    zv::FindData copy;
    std::memcpy(static_cast<void*>(&copy), information, sizeof copy);
    return zv::CCache().UpdateCacheFileList(CutToBuffer(path), copy);
  });
}

int64_t ZVWORKER_CALL GetFolderSize(const ZvChar* path) {
  return GuardedQuietly(int64_t{0}, [&] {
    return static_cast<int64_t>(zv::CBackupDAV().GetFolderSizeInByte(ViewOf(path)));
  });
}

uint32_t ZVWORKER_CALL IsListingFileExist(const ZvChar* first_path, const ZvChar* second_path) {
  return GuardedQuietly(uint32_t{0}, [&]() -> uint32_t {
    zv::CWebDAV server;
    zv::Text length;
    const bool first = server.IsFileOnServer(ViewOf(first_path), &length);
    const bool second = server.IsFileOnServer(ViewOf(second_path), &length);
    return (first ? 1U : 0U) | (second ? 2U : 0U);
  });
}

uint32_t ZVWORKER_CALL DeleteListingFile(const ZvChar* path) {
  return GuardedQuietly(uint32_t{0},
                        [&]() -> uint32_t { return zv::CWebDAV().DeleteServerFile(ViewOf(path)); });
}

uint64_t ZVWORKER_CALL GetUsedSpace(void) {
  return GuardedQuietly(uint64_t{0}, [] { return zv::GetUsedSpaceBytes(); });
}

uint32_t ZVWORKER_CALL DeleteCache(void) {
  return GuardedQuietly(uint32_t{0},
                        []() -> uint32_t { return zv::CCache().ApplyPendingDeletes(); });
}

void ZVWORKER_CALL ResetProgressDetails(void) {
  GuardedQuietly([] { zv::ResetProgress(); });
}

uint32_t ZVWORKER_CALL CheckLastModifiedTime(const ZvChar* path) {
  return GuardedQuietly(
      uint32_t{0}, [&]() -> uint32_t { return zv::CCache().CheckFileModified(CutToBuffer(path)); });
}

}  // extern "C"
