#include <atomic>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <optional>
#include <utility>
#include <vector>

#include "apps/zvdrive/commands.h"
#include "apps/zvdrive/drive/drive_path.h"
#include "apps/zvdrive/fuse/fuse_drive.h"
#include "apps/zvdrive/output_text.h"
#include "apps/zvdrive/pending_sender.h"
#include "apps/zvdrive/session.h"
#include "apps/zvdrive/stop_signal.h"
#include "apps/zvdrive/transfer_stopper.h"
#include "config/folders.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "platform/shell_observer.h"
#include "worker/host_services.h"

namespace zv {
namespace {

constexpr uint32_t kPollInterval = 100;  // ms
constexpr uint32_t kMinute = 60'000;     // ms
using NoUploads = std::vector<PendingUpload>;

void CheckFolder(const std::string& folder) {
  std::error_code error;
  const bool is_folder = std::filesystem::is_directory(folder, error);
  if (error == std::errc::not_connected) {
    throw CommandError(folder + " holds a mount that has died; fusermount3 -u " + folder);
  }
  if (!is_folder) {
    throw CommandError(folder + " is no folder; make it first: mkdir " + folder);
  }
  const bool is_empty = std::filesystem::is_empty(folder, error);
  if (error) throw CommandError(folder + ": " + error.message());
  if (!is_empty) throw CommandError(folder + " is not empty; mount on an empty folder");
}

// What is cached, and the list of what waits to be sent, belong to one mount at a time.
File ClaimCache() {
  const Text folder = GetAppDataFolder();
  MakeFolders(folder);
  File claim = File::Open(folder + u"\\mount.lock", Access::kReadWrite, Disposition::kOpenAlways);
  if (!claim) throw CommandError("cannot write below the folder of ZVWORKER_HOME");
  if (!claim.Claim()) {
    throw CommandError("the account is mounted already; another one needs its own ZVWORKER_HOME");
  }
  return claim;
}

// Serves the mount on a thread of its own, for as long as it lives or until the folder is
// unmounted.
class MountServer {
 public:
  explicit MountServer(FuseMount& mount)
      : mount_(mount), thread_(Thread::Start([this] { return Run(); })) {}
  ~MountServer() { Stop(); }
  MountServer(const MountServer&) = delete;
  MountServer& operator=(const MountServer&) = delete;

  bool has_ended() const { return ended_; }
  // Before anybody asked for it.
  bool has_failed() const { return failed_; }
  void Stop() {
    mount_.Stop();
    thread_.Join();
  }

 private:
  uint32_t Run() {
    failed_ = !mount_.Serve();
    ended_ = true;
    return 0;
  }

  FuseMount& mount_;
  std::atomic<bool> failed_ = false;
  std::atomic<bool> ended_ = false;
  Thread thread_;  // last: it uses the others
};

// The worker's change notices, for the kernel: what it keeps of these entries is out of date. The
// drive asked for the changes itself and knows of them.
class NoticeForwarder {
 public:
  NoticeForwarder(FuseMount& mount, const Text& letter) {
    ShellObserver observer;
    // A file that was just sent from here is known to the kernel as it is.
    observer.ignored_changes = kShellUpdateItem;
    observer.on_change = [&mount, letter](uint32_t, TextView first, TextView second) {
      for (const TextView path : {first, second}) {
        if (!path.starts_with(letter)) continue;
        TextView changed = path.substr(letter.size());
        // As a deleted folder of a sync account is named.
        if (changed.size() > 1 && changed.ends_with(u'\\')) changed.remove_suffix(1);
        mount.Invalidate(changed);
      }
    };
    SetShellObserver(std::move(observer));
  }
  ~NoticeForwarder() { SetShellObserver({}); }
  NoticeForwarder(const NoticeForwarder&) = delete;
  NoticeForwarder& operator=(const NoticeForwarder&) = delete;
};

void TellPending() {
  const auto pending = ListPendingUploads();
  if (!pending) std::cerr << kUnreadableList << "\n";
  bool told = false;
  for (const PendingUpload& upload : pending.value_or(NoUploads())) {
    if (upload.kind == PendingKind::kCacheOnly) continue;
    if (!told) std::cerr << "not on the server yet, kept for the next mount:\n";
    told = true;
    std::cerr << "  " << PrintableText(ToUtf8(upload.path)) << "\n";
  }
}

}  // namespace

int RunMount(const MountCommandOptions& options) {
  if (const std::string missing = MissingForMount(); !missing.empty()) {
    throw CommandError("cannot mount: " + missing + "; zvdrive ls works without a mount");
  }
  CheckFolder(options.folder);
  CatchStopSignals();
  const File claim = ClaimCache();
  const Account account = ReadAccount();
  DriveSession session(account, IsFuseCallInterrupted,
                       std::chrono::seconds(options.listing_seconds));
  bool failed = false;
  {
    FuseMount mount(session.drive(), {.mount_point = options.folder,
                                      .allow_other = options.allow_other,
                                      .read_only = options.read_only,
                                      .own_reads = options.own_reads});
    MountServer server(mount);
    std::optional<NoticeForwarder> forwarder(std::in_place, mount, account.drive_letter);
    std::optional<PendingSender> sender;
    if (!options.read_only) {
      sender.emplace(session.drive(), static_cast<uint32_t>(options.retry_minutes) * kMinute);
    }
    std::cout << "mounted on " << options.folder << "\n" << std::flush;
    while (!server.has_ended() && !StopWasAsked()) SleepMs(kPollInterval);
    if (sender) sender->AskToStop();
    const TransferStopper stopper;
    // A notice may wait for reads that the mount must answer: it ends while there is one that does.
    forwarder.reset();
    server.Stop();
    failed = server.has_failed();
    sender.reset();
  }
  TellPending();
  if (failed) throw CommandError("the mount ended: no thread could be started, or FUSE failed");
  return kExitDone;
}

}  // namespace zv
