// Renaming, and what a save by renaming brings with it.
#include "config/file_names.h"
#include "config/settings.h"
#include "driver/drive_device.h"
#include "driver/handler_guard.h"
#include "driver/handlers.h"
#include "driver/notify.h"
#include "driver/request_paths.h"
#include "platform/shell.h"

namespace zv {
namespace {

constexpr uint32_t kRefreshViewMessage = 0x8013;

// The server refused because the target exists, and the driver wants it replaced.
bool WantsReplacement(const RequestRecord& request, StatusWord status) {
  return status == kNamespaceTargetExists &&
         request.minor == static_cast<uint32_t>(MinorCode::kReplaceOnRename);
}

StatusWord Rename(CEventPolling& polling, const RequestRecord& request, TextView source,
                  TextView target, bool is_save) {
  CCache& cache = polling.cache();
  const bool from_explorer = IsFromExplorer(request);
  StatusWord status = cache.RenameCachedResource(source, target, from_explorer);
  if (is_save && status == kNamespaceSuccess) cache.TransferCachedFile(target, true);
  if (WantsReplacement(request, status)) {
    if (cache.DeleteCachedResource(target, false)) {
      NotifyShell(kShellDeleteItem, LocalFullPath(request.Path()));
    }
    status = cache.RenameCachedResource(source, target, from_explorer);
  }
  return status;
}

// The sync client's shell view does not see a save by renaming: it is told to look again.
void RefreshShellView(CLogEvent& log) {
  const Text title = Format(u"Stratel Drive (%s)", GetLocalName());
  log.WriteTrace(u"Trying to send message to shellview to refresh view. %s", title);
  const WindowHandle parent = FindTopWindow(title);
  if (!parent) {
    log.WriteTrace(u"Could not find parent window %s", title);
    return;
  }
  const WindowHandle view = FindChildWindow(parent, u"ZVSHELLVIEWClass");
  if (!view) {
    log.WriteTraceText(u"Could not find child window");
    return;
  }
  log.WriteTraceText(u"Sending message to shellview to refresh view");
  PostWindowMessage(view, kRefreshViewMessage, 0, 0);
}

}  // namespace

void RenameRequest(CEventPolling& polling, const RequestRecord& request) {
  constexpr HandlerTexts kTexts = {u"Error processing file rename of %s, Reason: %s",
                                   u"Exception while renaming file!"};
  GuardHandler(polling, kTexts, request.Path(), [&] {
    CLogEvent& log = polling.poll_log();
    const Text source = ServerPath(request.Path());
    const Text target = ServerPath(RenameTargetPath(request.SecondPath()));
    log.WriteTrace(u"Rename = %s to %s", source, target);
    const bool is_save = IsTempFileRename(source, target);
    const StatusWord status = Rename(polling, request, source, target, is_save);
    SendNamespaceReply(polling.drive(), status);
    if (status == kNamespaceSuccess) {
      NotifyShell(kShellRenameItem, LocalFullPath(ReplaceAll(source, u'/', u'\\')),
                  LocalFullPath(ReplaceAll(target, u'/', u'\\')));
    }
    if (is_save && ReadAccountType() == kSyncAccount) RefreshShellView(log);
  });
}

}  // namespace zv
