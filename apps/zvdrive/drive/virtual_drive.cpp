// Looking: what is on the drive, and who has it open.
#include "apps/zvdrive/drive/virtual_drive.h"

#include <algorithm>

#include "apps/zvdrive/drive/drive_path.h"

namespace zv {
VirtualDrive::VirtualDrive(RequestChannel& channel, DriveHost& host, DriveOptions options)
    : requests_(channel, options.is_sync),
      host_(host),
      options_(std::move(options)),
      sync_(options_.is_sync),
      walks_(options_.walk_lifetime) {}

VirtualDrive::~VirtualDrive() {
  std::unique_lock lock(mutex_);
  listing_ended_.wait(lock, [&] { return listings_ == 0; });
}

std::optional<DriveResult<NodeInfo>> VirtualDrive::LookInFreshWalk(TextView path) {
  const std::lock_guard lock(mutex_);
  const auto open = open_files_.find(Text(path));
  const Nodes* nodes = walks_.Fresh(ParentOf(path));
  const auto node = nodes ? nodes->find(LeafOf(path)) : Nodes::const_iterator();
  const bool listed = nodes && node != nodes->end();
  if (open != open_files_.end()) {
    return InfoOf(*open->second, listed ? node->second : NodeInfo{});
  }
  if (!nodes) {
    const NodeInfo* queried = walks_.FreshNode(path);
    return queried ? std::optional<DriveResult<NodeInfo>>(*queried) : std::nullopt;
  }
  if (!listed) return DriveError::kNotFound;
  return node->second;
}

DriveResult<NodeInfo> VirtualDrive::Look(TextView path) {
  if (path == kDriveRoot) {
    return NodeInfo{.is_folder = true, .size = 0, .created = since_, .modified = since_};
  }
  if (const auto known = LookInFreshWalk(path)) return *known;
  const Text parent = ParentOf(path);
  bool was_walked = false;
  {
    const std::lock_guard lock(mutex_);
    was_walked = walks_.WasWalked(parent);
  }
  if (was_walked) {
    if (const auto info = QueryEntry(path)) return *info;
  } else if (parent != kDriveRoot) {
    const auto above = Look(parent);
    if (!above) return above.error;
    if (!above.value.is_folder) return DriveError::kNotFolder;
  }
  return LookInWalk(path, false);
}

Text VirtualDrive::PathOf(const OpenFile& file) const {
  const std::lock_guard lock(mutex_);
  return file.path;
}

// A query cannot tell "absent" from "failed"; a walk can.
DriveResult<NodeInfo> VirtualDrive::LookInWalk(TextView path, bool always_ask) {
  const DriveError error = WalkFolder(ParentOf(path), always_ask);
  const auto latest = LookInLatestWalk(path);
  // What was seen before can be deleted where a new listing does not fit: it makes room.
  const bool is_good_enough = error == DriveError::kNoSpace && !always_ask && latest;
  return error == DriveError::kNone || is_good_enough ? latest : error;
}

DriveResult<NodeInfo> VirtualDrive::LookInLatestWalk(TextView path) const {
  const std::lock_guard lock(mutex_);
  const Nodes* nodes = walks_.Latest(ParentOf(path));
  // Without a walk, the folder was renamed or removed meanwhile.
  const auto node = nodes ? nodes->find(LeafOf(path)) : Nodes::const_iterator();
  if (!nodes || node == nodes->end()) return DriveError::kNotFound;
  return node->second;
}

DriveError VirtualDrive::CheckAbsent(TextView path) {
  if (const DriveError error = CheckNewPath(path); error != DriveError::kNone) return error;
  const auto info = Look(path);
  if (info) return DriveError::kExists;
  if (info.error != DriveError::kNotFound) return info.error;
  // Only a walk of its folder tells that a name is not there; without one, the folder is missing.
  const std::lock_guard lock(mutex_);
  return walks_.WasWalked(ParentOf(path)) ? DriveError::kNone : DriveError::kNotFound;
}

// Gives a folder's name up in the end when its walk, for whatever reason, brought nothing: what may
// not even exist keeps no name from others.
class VirtualDrive::UnlessWalked {
 public:
  UnlessWalked(VirtualDrive& drive, TextView folder) : drive_(drive), folder_(folder) {}
  ~UnlessWalked() {
    const std::lock_guard lock(drive_.mutex_);
    if (!drive_.walks_.WasWalked(folder_)) drive_.names_.Release(folder_);
  }
  UnlessWalked(const UnlessWalked&) = delete;
  UnlessWalked& operator=(const UnlessWalked&) = delete;

 private:
  VirtualDrive& drive_;
  const TextView folder_;
};

DriveError VirtualDrive::WalkFolder(TextView folder, bool always_ask,
                                    const DriveRequests::NodeSink& sink) {
  if (!Claim(folder, true)) return DriveError::kNotUnique;
  const UnlessWalked release(*this, folder);
  const std::lock_guard turn(walk_mutex_);
  uint64_t walk = 0;
  {
    const std::lock_guard lock(mutex_);
    if (!always_ask && walks_.Fresh(folder)) return DriveError::kNone;
    walk = walks_.BeginAsking(folder);
  }
  const auto take = [&](NamedNode& node) {
    {
      const std::lock_guard lock(mutex_);
      sent_times_.Correct(JoinPath(folder, node.name), node.info);
    }
    if (sink) sink(node);
  };
  const auto nodes = requests_.Walk(folder, take);
  if (!nodes) return Explained(nodes.error, 0);
  host_.NoteListing();
  const std::lock_guard lock(mutex_);
  walks_.Store(folder, nodes.value, walk);
  return DriveError::kNone;
}

std::optional<NodeInfo> VirtualDrive::QueryInfo(TextView path) {
  auto info = requests_.QueryInfo(path);
  const std::lock_guard lock(mutex_);
  if (info) sent_times_.Correct(path, *info);
  return info;
}

// The kernel asks for a folder's attributes anew whenever something is made in it.
std::optional<NodeInfo> VirtualDrive::QueryEntry(TextView path) {
  uint64_t asked = 0;
  {
    const std::lock_guard lock(mutex_);
    asked = walks_.BeginAsking(ParentOf(path));
  }
  const auto info = QueryInfo(path);
  if (info) {
    const std::lock_guard lock(mutex_);
    walks_.Learn(path, *info, asked);
  }
  return info;
}

void VirtualDrive::Invalidate(TextView path) noexcept {
  const std::lock_guard lock(mutex_);
  walks_.Expire(ParentPart(path));
  walks_.Expire(path);
}

bool VirtualDrive::Claim(TextView path, bool is_folder) {
  const std::lock_guard lock(mutex_);
  return names_.Claim(path, is_folder);
}

void VirtualDrive::Remember(const OpenFile& file) noexcept {
  const std::lock_guard lock(mutex_);
  NodeInfo info;
  info.created = {file.modified};
  if (const Nodes* nodes = walks_.Latest(ParentPart(file.path))) {
    const auto known = nodes->find(LeafPart(file.path));
    if (known != nodes->end()) info.created = known->second.created;
  }
  walks_.Put(file.path, InfoOf(file, info));
}

uint64_t VirtualDrive::AwaitNames(TextView path) {
  std::unique_lock lock(mutex_);
  names_changed_.wait(lock, [&] {
    return std::ranges::none_of(
        changing_names_, [&](const Text& name) { return NameGuard::IsAffected(path, name); });
  });
  return name_changes_;
}

DriveResult<FileHandle> VirtualDrive::Acquire(TextView path, const NodeInfo& info, uint64_t names,
                                              bool make) {
  const std::lock_guard lock(mutex_);
  if (names != name_changes_) return FileHandle();
  const auto open = open_files_.find(path);
  FileHandle file = open != open_files_.end() ? open->second : FileHandle();
  if (make && file) return DriveError::kExists;
  decltype(open_files_) fresh;
  if (!file) {
    file = std::make_shared<OpenFile>();
    file->path = path;
    file->size = info.size;
    file->modified = info.modified.value;
    file->begins_anew = file->content_is_ours = file->is_new = make;
    fresh.emplace(path, file);
  }
  // Last of what may fail: a file that is not opened keeps no name from others.
  if (!names_.Claim(path, false)) return DriveError::kNotUnique;
  open_files_.merge(fresh);
  // Who saw that the name was free must look again.
  if (make) ++name_changes_;
  ++file->open_count;
  return file;
}

DriveResult<FileHandle> VirtualDrive::LookAndAcquire(TextView path) {
  for (;;) {
    const uint64_t names = AwaitNames(path);
    const auto info = Look(path);
    if (!info) return info.error;
    if (info.value.is_folder) return DriveError::kIsFolder;
    auto file = Acquire(path, info.value, names, false);
    if (!file || file.value) return file;
  }
}

DriveResult<FileHandle> VirtualDrive::AcquireUnlisted(TextView path) {
  for (;;) {
    auto file = Acquire(path, {}, AwaitNames(path), false);
    if (!file || file.value) return file;
  }
}

void VirtualDrive::Release(const FileHandle& file) {
  const std::lock_guard lock(mutex_);
  if (--file->open_count > 0) return;
  const auto found = open_files_.find(file->path);
  if (found != open_files_.end() && found->second == file) open_files_.erase(found);
}

std::vector<FileHandle> VirtualDrive::OpenWithin(TextView path) const {
  const std::lock_guard lock(mutex_);
  std::vector<FileHandle> result;
  for (const auto& [open_path, file] : open_files_) {
    if (IsWithin(open_path, path)) result.push_back(file);
  }
  return result;
}

}  // namespace zv
