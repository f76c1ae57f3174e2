#include "cache/work_file.h"

#include <atomic>
#include <mutex>
#include <random>
#include <set>

#include "config/guard.h"
#include "platform/clock.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/format.h"

namespace zv {
namespace {

// Whoever makes a file here writes or gives up within seconds, so what lay still for this long
// belongs to no one.
constexpr int64_t kLeftoverSeconds = 600;
constexpr TextView kPartialPrefix = u"partial-";
constexpr TextView kScratchPrefix = u"writing-";

// Tells the files of this process from those of others.
uint32_t ProcessMark() {
  static const uint32_t mark = std::random_device()();
  return mark;
}

Text NextUniqueMark() {
  static std::atomic<uint32_t> next = 0;
  return Format(u"%08X-%u", ProcessMark(), next++);
}

// FNV-1a: short, and the same for every process.
Text NameHash(TextView name) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const char16_t unit : name) hash = (hash ^ unit) * 0x100000001B3;
  return Format(u"%08X%08X", static_cast<uint32_t>(hash >> 32), static_cast<uint32_t>(hash));
}

class ActivePartials {
 public:
  void Add(const Text& name) {
    const std::lock_guard lock(mutex_);
    names_.insert(name);
  }
  void Remove(const Text& name) {
    const std::lock_guard lock(mutex_);
    names_.erase(name);
  }
  bool Contains(const Text& name) {
    const std::lock_guard lock(mutex_);
    return names_.contains(name);
  }

 private:
  std::mutex mutex_;
  std::set<Text> names_;
};

ActivePartials& Active() {
  static ActivePartials active;
  return active;
}

// What stays for lack of memory is a leftover like any other.
void RemoveQuietly(TextView file) {
  GuardedQuietly([file] { RemoveFile(file); });
}

// What is not seen now is seen by a later one.
std::vector<FileInfo> WorkFiles(TextView folder) {
  try {
    return ListFolder(folder);
  } catch (const Error&) {
    return {};
  }
}

void RemoveLeftovers(const Text& folder, TextView same_file_prefix) {
  const Seconds1601 oldest{ToSeconds(SystemTime()).value - kLeftoverSeconds};
  for (const FileInfo& info : WorkFiles(folder)) {
    if (info.is_folder) continue;
    if (!info.name.starts_with(kPartialPrefix) && !info.name.starts_with(kScratchPrefix)) continue;
    const bool left =
        info.name.starts_with(same_file_prefix) || ToSeconds(info.last_write) < oldest;
    if (left && !Active().Contains(folder + info.name)) RemoveFile(folder + info.name);
  }
}

}  // namespace

bool ReplaceFileWhole(const CacheNames& names, TextView path, std::string_view bytes) {
  const Text folder = names.work_folder();
  const Text scratch = Format(u"%s%s%s", folder, kScratchPrefix, NextUniqueMark());
  File file = File::Open(scratch, Access::kWrite, Disposition::kCreateAlways);
  if (!file) {
    if (!MakeFolders(folder)) return false;
    file = File::Open(scratch, Access::kWrite, Disposition::kCreateAlways);
    if (!file) return false;
  }
  try {
    file.Write(bytes);
    file.CloseWritten();
    if (MoveOver(scratch, path)) return true;
  } catch (...) {
    file.Close();
    RemoveQuietly(scratch);
    throw;
  }
  const uint32_t code = LastError();
  RemoveQuietly(scratch);
  SetLastError(code);
  return false;
}

PartialFile::PartialFile(const CacheNames& names, TextView cache_file) : cache_file_(cache_file) {
  const Text folder = names.work_folder();
  MakeFolders(folder);
  const Text prefix = Format(u"%s%s-", kPartialPrefix, NameHash(cache_file));
  RemoveLeftovers(folder, prefix);
  path_ = Format(u"%s%s%s", folder, prefix, NextUniqueMark());
  Active().Add(path_);
}

PartialFile::~PartialFile() {
  if (path_.empty()) return;
  RemoveQuietly(path_);
  Active().Remove(path_);
}

bool PartialFile::MoveIntoPlace() {
  if (!MoveOver(path_, cache_file_)) return false;
  Active().Remove(path_);
  path_.clear();
  return true;
}

}  // namespace zv
