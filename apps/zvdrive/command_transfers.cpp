// Commands about transfers: those under way, in whatever process, and those that are still to come.
#include <array>
#include <iostream>

#include "apps/zvdrive/cancel_transfer.h"
#include "apps/zvdrive/commands.h"
#include "apps/zvdrive/local_time.h"
#include "apps/zvdrive/output_text.h"
#include "apps/zvdrive/progress_line.h"
#include "include/zvworker/zvworker.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "worker/host_services.h"

namespace zv {
namespace {

constexpr uint32_t kWatchInterval = 250;  // ms

TransferState ReadTransfer() {
  std::array<ZvChar, kTransferNameUnits> name{};
  uint32_t first = 0, second = 0, elapsed = 0;
  const int32_t kind = GetInternetDetails(name.data(), &first, &second, &elapsed, ZV_READ_PROGRESS);
  TransferState state;
  if (kind != ZV_UPLOAD && kind != ZV_DOWNLOAD) return state;
  state.is_active = true;
  state.is_upload = kind == ZV_UPLOAD;
  state.name = ToUtf8(TextView(name.data()));
  // The record keeps the two counts in opposite order for the two directions.
  state.done = state.is_upload ? second : first;
  state.total = state.is_upload ? first : second;
  state.elapsed_seconds = elapsed;
  state.trouble = ToUtf8(LastTransferTrouble(TextView(name.data())));
  return state;
}

}  // namespace

int RunProgress(const ProgressOptions& options) {
  const bool draws = OutputIsTerminal() && !options.json;
  for (;;) {
    const TransferState state = ReadTransfer();
    const std::string line = options.json ? ProgressJson(state)
                             : draws      ? ProgressBar(state, TerminalWidth())
                                          : ProgressLine(state);
    std::cout << (draws && options.watch ? "\r\x1b[K" : "") << line
              << (draws && options.watch ? "" : "\n") << std::flush;
    if (!options.watch) return kExitDone;
    SleepMs(kWatchInterval);
  }
}

int RunCancel(const std::string& name) {
  const TransferState state = ReadTransfer();
  const Text current = state.is_active ? FromUtf8(state.name) : UploadBetweenAttempts();
  if (current.empty()) throw CommandError("nothing is being transferred", kExitNotFound);
  if (!name.empty() && !EqualsNoCase(FromUtf8(name), current)) {
    throw CommandError("the transfer under way is " + PrintableText(ToUtf8(current)),
                       kExitNotFound);
  }
  AskToCancel(current);
  std::cout << "asked to cancel " << FitForOutput(ToUtf8(current)) << "\n";
  return kExitDone;
}

int RunPending(bool json) {
  const auto list = ListPendingUploads();
  if (!list) throw CommandError(std::string(kUnreadableList));
  const std::vector<PendingUpload>& pending = *list;
  if (json) {
    std::cout << "[";
    for (size_t i = 0; i < pending.size(); ++i) {
      std::cout << (i ? "," : "") << "\n  {\"path\": " << JsonText(ToUtf8(pending[i].path))
                << ", \"since\": " << ToUnix(pending[i].since) << ", \"kept_on_purpose\": "
                << (pending[i].kind == PendingKind::kCacheOnly ? "true" : "false")
                << ", \"reason\": " << JsonText(ToUtf8(pending[i].reason)) << "}";
    }
    std::cout << (pending.empty() ? "]\n" : "\n]\n");
    return kExitDone;
  }
  if (pending.empty()) std::cout << "everything is on the server\n";
  for (const PendingUpload& upload : pending) {
    std::cout << FitForOutput(ToUtf8(upload.path)) << "  since "
              << FormatTime(upload.since, TimeDetail::kMinutes);
    if (upload.kind == PendingKind::kCacheOnly) std::cout << "  (kept in the cache on purpose)";
    if (!upload.reason.empty()) std::cout << "  " << FitForOutput(ToUtf8(upload.reason));
    std::cout << "\n";
  }
  return kExitDone;
}

}  // namespace zv
