#define FUSE_USE_VERSION 312

#include "apps/zvdrive/fuse/fuse_drive.h"

#include <fuse.h>
#include <fuse_lowlevel.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <shared_mutex>
#include <sstream>
#include <stdexcept>

#include "apps/zvdrive/fuse/fuse_answer.h"
#include "apps/zvdrive/fuse/fuse_callbacks.h"
#include "apps/zvdrive/fuse/mounted.h"
#include "apps/zvdrive/fuse/passthrough.h"
#include "apps/zvdrive/fuse/session_io.h"
#include "platform/console.h"
#include "platform/thread.h"

namespace zv {
namespace {

// Each call that waits for a transfer holds one: ten would be one copying program.
constexpr unsigned kMostThreads = 200;
constexpr unsigned kIdleThreads = 10;

// The kernel reads 128 KiB ahead unless the mount's own setting says more; each of its requests
// costs the same, however long it is. Only root may change it: for others it stays as it is.
void ReadFurtherAhead(const std::string& mount_point) {
  std::ifstream mounts("/proc/self/mountinfo");
  std::string found;
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string id, parent, device, root, point;
    if (fields >> id >> parent >> device >> root >> point && point == mount_point) found = device;
  }
  if (!found.empty()) {
    std::ofstream("/sys/class/bdi/" + found + "/read_ahead_kb") << kLargestBlock / 1024;
  }
}

}  // namespace

struct FuseMount::Impl {
  explicit Impl(VirtualDrive& drive) : mounted(drive) {}
  ~Impl() {
    if (!fuse) return;
    fuse_unmount(fuse);
    waker.Join();
    fuse_destroy(fuse);
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  Mounted mounted;
  fuse_operations operations = FuseCallbacks();
  struct fuse* fuse = nullptr;
  std::filesystem::path place;
  std::atomic<bool> stops = false;
  std::shared_mutex device;  // shared by those who use it without serving
  Thread waker;
};

std::string MissingForMount() {
  std::error_code error;
  if (!std::filesystem::exists("/dev/fuse", error)) {
    return "this machine has no FUSE (/dev/fuse is missing)";
  }
  if (!std::fstream("/dev/fuse", std::ios::in | std::ios::out)) {
    return "this user may not open /dev/fuse";
  }
  if (CurrentUserIds().user != 0 && !std::filesystem::exists("/usr/bin/fusermount3", error)) {
    return "fusermount3 is missing (package fuse3)";
  }
  return {};
}

FuseMount::FuseMount(VirtualDrive& drive, const MountOptions& options)
    : impl_(std::make_unique<Impl>(drive)) {
  std::string mount_options = "fsname=zvdrive,subtype=zvdrive,default_permissions,max_read=" +
                              std::to_string(kLargestBlock);
  if (options.allow_other) mount_options += ",allow_other";
  if (options.read_only) mount_options += ",ro";
  std::string program = "zvdrive", flag = "-o";
  char* argv[] = {program.data(), flag.data(), mount_options.data(), nullptr};
  fuse_args arguments = FUSE_ARGS_INIT(3, argv);
  impl_->fuse = fuse_new(&arguments, &impl_->operations, sizeof impl_->operations, &impl_->mounted);
  fuse_opt_free_args(&arguments);
  if (!impl_->fuse) throw std::runtime_error("FUSE refused the mount options");
  // Without it the mount could not be stopped.
  impl_->place = std::filesystem::canonical(options.mount_point);
  if (fuse_mount(impl_->fuse, options.mount_point.c_str()) != 0) {
    throw std::runtime_error("cannot mount on " + options.mount_point);
  }
  fuse_session* const session = fuse_get_session(impl_->fuse);
  if (!options.own_reads) WantPassthrough();
  CarryRequests(session);
  impl_->mounted.modes.SetSession(session);
  ReadFurtherAhead(impl_->place.string());
}

FuseMount::~FuseMount() = default;

bool FuseMount::Serve() {
  const std::unique_ptr<fuse_loop_config, decltype(&fuse_loop_cfg_destroy)> config(
      fuse_loop_cfg_create(), &fuse_loop_cfg_destroy);
  fuse_loop_cfg_set_max_threads(config.get(), kMostThreads);
  fuse_loop_cfg_set_idle_threads(config.get(), kIdleThreads);
  const bool ended_well = fuse_loop_mt(impl_->fuse, config.get()) == 0;
  const bool was_stopped = impl_->stops.exchange(true);
  // Unmounting closes the device, whose number may be another file's at once.
  const std::lock_guard lock(impl_->device);
  // Programs that still have files open keep nobody waiting: what they wrote is kept in the cache.
  impl_->mounted.modes.ForgetAll();
  fuse_unmount(impl_->fuse);
  return ended_well || was_stopped;
}

// The threads that read from the kernel's device end before it is closed: one of them is woken by a
// request that concerns nobody, and then sees that it is to stop; it takes the others along. Should
// they be gone before they see the request, it fails when the device is closed.
void FuseMount::Stop() {
  if (impl_->stops.exchange(true)) return;
  fuse_exit(impl_->fuse);
  const auto ask = [impl = impl_.get()] {
    struct statx unused {};
    return static_cast<uint32_t>(
        ::statx(AT_FDCWD, impl->place.c_str(), AT_STATX_FORCE_SYNC, STATX_SIZE, &unused));
  };
  try {
    impl_->waker = Thread::Start(ask);
  } catch (...) {
    ask();  // no thread can be made: who stops the mount waits for the answer
  }
}

void FuseMount::Invalidate(TextView path) {
  const std::shared_lock lock(impl_->device);
  if (impl_->stops) return;
  fuse_invalidate_path(impl_->fuse, PathOnMount(path).c_str());
}

bool IsFuseCallInterrupted() { return fuse_get_context() != nullptr && fuse_interrupted() != 0; }

}  // namespace zv
