// The entry points, as platform/utility_library.h names them.
#include "config/guard.h"
#include "platform/utility_library.h"
#include "zvutil/operations.h"

namespace {

// What the operations let out can only be lack of memory while their arguments are made.
using zv::GuardedQuietly;
using zv::SyncLogin;

// What the calling thread's last listing gave out.
thread_local std::vector<zv::DirectoryEntry> t_listing;

zv::Text TextOf(const char16_t* text) { return text ? zv::Text(text) : zv::Text(); }

SyncLogin LoginOf(const char16_t* user, const char16_t* password, const char16_t* web_server) {
  return {.user = TextOf(user), .password = TextOf(password), .web_server = TextOf(web_server)};
}

}  // namespace

extern "C" {

int32_t ZVUtilListFolder(const char16_t* /*separator*/, const char16_t* user,
                         const char16_t* password, const char16_t* /*key*/,
                         const char16_t* /*app_server*/, const char16_t* web_server,
                         const char16_t* /*key_type*/, void** entries) {
  if (!entries) return 0;
  const bool listed = GuardedQuietly(
      false, [&] { return zv::ListSyncFolder(LoginOf(user, password, web_server), &t_listing); });
  *entries = listed ? t_listing.data() : nullptr;
  return listed ? 1 : 0;
}

void ZVUtilReleaseListing() { std::vector<zv::DirectoryEntry>().swap(t_listing); }

#define ZVUTIL_ENTRY_POINT(name, operation)                                                      \
  int32_t name(const char16_t* /*separator*/, const char16_t* user, const char16_t* password,    \
               const char16_t* /*key*/, const char16_t* /*app_server*/,                          \
               const char16_t* web_server, const char16_t* /*key_type*/) {                       \
    return GuardedQuietly(                                                                       \
        int32_t{0}, [&] { return zv::operation(LoginOf(user, password, web_server)) ? 1 : 0; }); \
  }

ZVUTIL_ENTRY_POINT(ZVUtilDownload, DownloadSyncFile)
ZVUTIL_ENTRY_POINT(ZVUtilUpload, UploadSyncFile)
ZVUTIL_ENTRY_POINT(ZVUtilCreateFolder, CreateSyncFolder)
ZVUTIL_ENTRY_POINT(ZVUtilRename, RenameSyncEntry)
ZVUTIL_ENTRY_POINT(ZVUtilDelete, DeleteSyncEntry)

#undef ZVUTIL_ENTRY_POINT

}  // extern "C"
