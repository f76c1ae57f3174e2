#include "platform/posix/folder_index.h"

#include <dirent.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "platform/posix/native_path.h"
#include "platform/posix/unique_fd.h"

namespace zv {
namespace {

Text FoldName(std::string_view name) { return ToLower(DecodeFileName(name)); }

using DirStream = std::unique_ptr<DIR, int (*)(DIR*)>;

DirStream OpenFolder(const std::string& folder) {
  return DirStream(::opendir(folder.c_str()), ::closedir);
}

// False, with errno, when the folder could not be read to its end.
template <typename Visit>
bool ForEachName(const DirStream& stream, Visit visit) {
  while (true) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());
    if (!entry) return errno == 0;
    visit(entry->d_name);
  }
}

using FolderKey = std::pair<dev_t, ino_t>;

std::optional<FolderKey> KeyOf(const std::string& folder) {
  struct stat status;
  if (::stat(folder.c_str(), &status) != 0) return std::nullopt;
  return FolderKey(status.st_dev, status.st_ino);
}

struct Folder {
  int watch = -1;
  uint64_t last_use = 0;
  std::unordered_multimap<Text, std::string> names;  // by small-letter form

  void Add(std::string_view name) { names.emplace(FoldName(name), name); }

  void Remove(std::string_view name) {
    const auto [first, last] = names.equal_range(FoldName(name));
    for (auto it = first; it != last;) it = it->second == name ? names.erase(it) : std::next(it);
  }
};

// The names of the folders that were searched last. Reading a folder anew for each name that is not
// there would make filling a cache of many files slow; so the system reports every change of these
// folders, by any process, and the reports are worked off before each look-up.
class WatchedFolders {
 public:
  // nullopt when the folder cannot be watched. Where memory runs out in between, reports are lost
  // or a folder is read in part: all is forgotten then, and read anew by the next look-up.
  std::optional<Folder*> Get(const std::string& path) {
    BeginAfterFork();
    try {
      return Find(path);
    } catch (...) {
      Forget();
      throw;
    }
  }

 private:
  using Folders = std::map<FolderKey, Folder>;
  static constexpr size_t kMaxFolders = 64;
  static constexpr uint32_t kChanges =
      IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR;

  // Reports that a parent and its child process take from one queue would be lost to one of them.
  void BeginAfterFork() {
    if (owner_ == ::getpid()) return;
    owner_ = ::getpid();
    Forget();
  }

  void Forget() {
    folders_.clear();
    by_watch_.clear();
    reports_ = UniqueFd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  }

  std::optional<Folder*> Find(const std::string& path) {
    const auto key = KeyOf(path);
    if (!key || !reports_) return std::nullopt;
    WorkOffReports();
    auto found = folders_.find(*key);
    if (found == folders_.end()) found = Watch(path);
    if (found == folders_.end()) return std::nullopt;
    found->second.last_use = ++uses_;
    return &found->second;
  }

  void WorkOffReports() {
    alignas(inotify_event) char buffer[16384];
    for (;;) {
      const ssize_t size = ::read(reports_.get(), buffer, sizeof buffer);
      if (size <= 0) return;
      for (ssize_t at = 0; at < size;) {
        const auto* report = reinterpret_cast<const inotify_event*>(buffer + at);
        if ((report->mask & IN_Q_OVERFLOW) != 0) return Forget();
        WorkOff(*report);
        at += static_cast<ssize_t>(sizeof(inotify_event) + report->len);
      }
    }
  }

  void WorkOff(const inotify_event& report) {
    const auto found = by_watch_.find(report.wd);
    if (found == by_watch_.end()) return;
    Folder& folder = found->second->second;
    if ((report.mask & IN_IGNORED) != 0) {  // the folder is gone
      folders_.erase(found->second);
      by_watch_.erase(found);
      return;
    }
    if (report.len == 0) return;
    folder.Remove(report.name);
    if ((report.mask & (IN_CREATE | IN_MOVED_TO)) != 0) folder.Add(report.name);
  }

  // Watched before it is read: a change in between is reported, and doing it again changes nothing.
  Folders::iterator Watch(const std::string& path) {
    const DirStream stream = OpenFolder(path);
    struct stat status;
    if (!stream || ::fstat(::dirfd(stream.get()), &status) != 0) return folders_.end();
    if (folders_.size() >= kMaxFolders) DropOldest();
    const std::string same_folder = "/proc/self/fd/" + std::to_string(::dirfd(stream.get()));
    const int watch = ::inotify_add_watch(reports_.get(), same_folder.c_str(), kChanges);
    if (watch < 0) return folders_.end();
    const auto added = folders_.try_emplace(FolderKey(status.st_dev, status.st_ino)).first;
    added->second.watch = watch;
    added->second.names.clear();
    by_watch_[watch] = added;
    if (ForEachName(stream, [&](const char* name) { added->second.Add(name); })) return added;
    Drop(added);
    return folders_.end();
  }

  void Drop(Folders::iterator folder) {
    ::inotify_rm_watch(reports_.get(), folder->second.watch);
    by_watch_.erase(folder->second.watch);
    folders_.erase(folder);
  }

  void DropOldest() {
    auto oldest = folders_.begin();
    for (auto it = folders_.begin(); it != folders_.end(); ++it) {
      if (it->second.last_use < oldest->second.last_use) oldest = it;
    }
    Drop(oldest);
  }

  pid_t owner_ = 0;
  UniqueFd reports_;
  Folders folders_;
  std::unordered_map<int, Folders::iterator> by_watch_;
  uint64_t uses_ = 0;
};

}  // namespace

std::optional<std::string> FindNameNoCase(const std::string& folder, std::string_view name) {
  static std::mutex mutex;
  static WatchedFolders watched;
  const std::lock_guard lock(mutex);
  const auto names = watched.Get(folder);
  if (!names) return FindNameByReading(folder, name);
  const auto found = (*names)->names.find(FoldName(name));
  if (found != (*names)->names.end()) return found->second;
  errno = ENOENT;
  return std::nullopt;
}

std::optional<std::string> FindNameByReading(const std::string& folder, std::string_view name) {
  const DirStream stream = OpenFolder(folder);
  if (!stream) return std::nullopt;
  const Text wanted = FoldName(name);
  std::optional<std::string> found;
  const bool whole = ForEachName(stream, [&](const char* candidate) {
    if (!found && FoldName(candidate) == wanted) found = candidate;
  });
  if (!found && whole) errno = ENOENT;
  return found;
}

}  // namespace zv
