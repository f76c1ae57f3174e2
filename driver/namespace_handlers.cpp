// Listing, looking up, sizes, making and deleting.
#include "config/folders.h"
#include "config/settings.h"
#include "driver/drive_device.h"
#include "driver/handler_guard.h"
#include "driver/handlers.h"
#include "driver/notify.h"
#include "driver/request_paths.h"
#include "platform/shell.h"

namespace zv {
namespace {

void MarkAbsent(DirectoryEntry& entry) {
  entry.directory_flag = kNoSuchEntry;
  entry.last_entry = 1;
}

// Joins folder and name of a query and turns them into a server path.
Text QueriedServerPath(CLogEvent& poll_log, TextView path, TextView name) {
  if (path.empty()) return {};
  if (name.empty() || path.ends_with(u'\\')) return ServerPath(Format(u"%s%s", path, name));
  const Text joined = Format(u"%s\\%s", path, name);
  poll_log.WriteTrace(u"After converting the values %s", joined);
  return ServerPath(joined);
}

DirectoryEntry RootEntry() {
  DirectoryEntry root;
  root.directory_flag = 1;
  root.last_entry = 1;
  return root;
}

// False when the used space could not be computed.
bool ReadUsedBytes(CCache& cache, int64_t* used) {
  if (ReadAccountType() == kSyncAccount) {
    *used = GetSyncUsedQuota();
    return true;
  }
  int64_t account_quota = 0;
  return cache.GetUsedSpaceDetails(&account_quota, used);
}

}  // namespace

void DirectoryRequest(CEventPolling& polling, const RequestRecord& request) {
  constexpr HandlerTexts kTexts = {u"Error processing directory request of %s, Reason: %s",
                                   u"Exception while processing dir request!"};
  GuardHandler(polling, kTexts, request.Path(), [&] {
    CLogEvent& log = polling.poll_log();
    log.WriteTrace(u"Dir req of %d with resource = %s", request.length_or_index, request.Path());
    DirectoryEntry entry;
    const auto index = static_cast<int32_t>(request.length_or_index);
    if (!polling.cache().GetCachedDirContents(ServerPath(request.Path()), index, &entry)) {
      MarkAbsent(entry);
      entry.kind = request.length_or_index;
    }
    log.WriteTrace(u"no more file value : %ld", entry.last_entry);
    if (entry.last_entry == 1) polling.cache().ForgetFolderState();
    SendDirectoryReply(polling.drive(), entry);
  });
}

void QueryInfoRequest(CEventPolling& polling, const RequestRecord& request) {
  constexpr HandlerTexts kTexts = {u"Error processing query info on %s, Reason: %s",
                                   u"Exception while restoring file!"};
  GuardHandler(polling, kTexts, request.Path(), [&] {
    CLogEvent& log = polling.poll_log();
    log.WriteTrace(u"QueryInfo of = %s%s", request.Path(), request.SecondPath());
    const Text path = QueriedServerPath(log, request.Path(), request.SecondPath());
    DirectoryEntry entry;
    if (path.empty() || path == u"/") {
      entry = RootEntry();
    } else if (!polling.cache().GetCachedResourceDetails(path, &entry)) {
      MarkAbsent(entry);
    }
    log.WriteTrace(u"file folder value is %ld", entry.directory_flag);
    SendQueryInfoReply(polling.drive(), entry);
  });
}

void VolumeInfoRequest(CEventPolling& polling, const RequestRecord&) {
  constexpr HandlerTexts kTexts = {u"Error processing volume request , Reason: %s",
                                   u"Exception while getting volume information!"};
  GuardHandler(polling, kTexts, std::nullopt, [&] {
    polling.poll_log().WriteTraceText(u"VolumeInfo call");
    int64_t used = 0;
    VolumeReply reply;
    reply.status = ReadUsedBytes(polling.cache(), &used) ? kNamespaceSuccess : kNamespaceFailure;
    reply.quota_mib = ReadAccountQuota() / kBytesPerMib;
    reply.used_mib = used / kBytesPerMib;
    SendVolumeReply(polling.drive(), reply);
  });
}

void CreateDirectoryRequest(CEventPolling& polling, const RequestRecord& request) {
  constexpr HandlerTexts kTexts = {u"Error creating directory %s, Reason: %s",
                                   u"Exception while creating directory!"};
  GuardHandler(polling, kTexts, request.Path(), [&] {
    const TextView path = request.Path();
    polling.poll_log().WriteTrace(u"MKCOL of = %s", path);
    const bool created = polling.cache().CreateCacheDirectory(path);
    SendTransferStatusReply(polling.drive(), created ? kNamespaceSuccess : kNamespaceFailure);
    if (created && !path.empty()) NotifyShell(kShellMakeDirectory, LocalFullPath(path));
  });
}

void DeleteRequest(CEventPolling& polling, const RequestRecord& request) {
  constexpr HandlerTexts kTexts = {u"Error processing deletion of %s, Reason: %s",
                                   u"Exception while deleting file!"};
  GuardHandler(polling, kTexts, request.Path(), [&] {
    polling.poll_log().WriteTrace(u"Delete = %s", request.Path());
    Text path = ServerPath(request.Path());
    if (!path.starts_with(u'/')) path.insert(0, 1, u'/');
    const bool deleted = polling.cache().DeleteCachedResource(path, IsFromExplorer(request));
    SendNamespaceReply(polling.drive(), deleted ? kNamespaceSuccess : kNamespaceFailure);
    if (deleted) NotifyShell(kShellDeleteItem, LocalFullPath(request.Path()));
  });
}

}  // namespace zv
