// Looking: what is on the drive, and who has it open.
#include "apps/zvdrive/drive/virtual_drive.h"

#include "apps/zvdrive/drive/drive_path.h"

namespace zv {
namespace {

NodeInfo RootInfo() { return {.is_folder = true, .size = 0, .created = {}, .modified = {}}; }

NodeInfo InfoOf(const OpenFile& file, NodeInfo info) {
  info.is_folder = false;
  info.size = file.size;
  info.modified = {file.modified};
  return info;
}

}  // namespace

VirtualDrive::VirtualDrive(RequestChannel& channel, DriveHost& host, DriveOptions options)
    : requests_(channel),
      host_(host),
      options_(std::move(options)),
      walks_(options_.walk_lifetime) {}

std::optional<DriveResult<NodeInfo>> VirtualDrive::LookInFreshWalk(TextView path) {
  const std::lock_guard lock(mutex_);
  const auto open = open_files_.find(Text(path));
  const Nodes* nodes = walks_.Fresh(ParentOf(path));
  const auto node = nodes ? nodes->find(LeafOf(path)) : Nodes::const_iterator();
  const bool listed = nodes && node != nodes->end();
  if (open != open_files_.end()) {
    return InfoOf(*open->second, listed ? node->second : NodeInfo{});
  }
  if (!nodes) return std::nullopt;
  if (!listed) return DriveError::kNotFound;
  return node->second;
}

DriveResult<NodeInfo> VirtualDrive::Look(TextView path) {
  if (path == kDriveRoot) return RootInfo();
  if (const auto known = LookInFreshWalk(path)) return *known;
  const Text parent = ParentOf(path);
  bool was_walked = false;
  {
    const std::lock_guard lock(mutex_);
    was_walked = walks_.WasWalked(parent);
  }
  if (was_walked) {
    if (const auto info = requests_.QueryInfo(path)) return *info;
  } else if (parent != kDriveRoot) {
    const auto above = Look(parent);
    if (!above) return above.error;
    if (!above.value.is_folder) return DriveError::kNotFolder;
  }
  // A query cannot tell "absent" from "failed"; a walk can.
  if (const DriveError error = WalkFolder(parent, false); error != DriveError::kNone) return error;
  const std::lock_guard lock(mutex_);
  const Nodes* nodes = walks_.Latest(parent);
  const auto node = nodes->find(LeafOf(path));
  if (node == nodes->end()) return DriveError::kNotFound;
  return node->second;
}

DriveError VirtualDrive::WalkFolder(TextView folder, bool always_ask) {
  if (!Claim(folder, true)) return DriveError::kNotUnique;
  const std::lock_guard turn(walk_mutex_);
  uint64_t walk = 0;
  {
    const std::lock_guard lock(mutex_);
    if (!always_ask && walks_.Fresh(folder)) return DriveError::kNone;
    walk = walks_.BeginWalk(folder);
  }
  const auto nodes = requests_.Walk(folder);
  if (!nodes) return nodes.error;
  host_.NoteListing();
  const std::lock_guard lock(mutex_);
  walks_.Store(folder, nodes.value, walk);
  return DriveError::kNone;
}

DriveResult<std::vector<NamedNode>> VirtualDrive::List(TextView folder) {
  if (const DriveError error = WalkFolder(folder, false); error != DriveError::kNone) return error;
  const std::lock_guard lock(mutex_);
  const Nodes* nodes = walks_.Latest(folder);
  std::vector<NamedNode> result;
  result.reserve(nodes->size());
  for (const auto& [name, info] : *nodes) result.push_back({name, info});
  for (NamedNode& node : result) {
    const auto open = open_files_.find(JoinPath(folder, node.name));
    if (open != open_files_.end()) node.info = InfoOf(*open->second, node.info);
  }
  for (const auto& [path, file] : open_files_) {
    if (ParentOf(path) == folder && !nodes->contains(LeafOf(path))) {
      result.push_back({LeafOf(path), InfoOf(*file, {})});
    }
  }
  return result;
}

void VirtualDrive::Invalidate(TextView path) {
  const std::lock_guard lock(mutex_);
  walks_.Expire(ParentOf(path));
  walks_.Expire(path);
}

bool VirtualDrive::Claim(TextView path, bool is_folder) {
  const std::lock_guard lock(mutex_);
  return names_.Claim(path, is_folder);
}

void VirtualDrive::Remember(const OpenFile& file) {
  const std::lock_guard lock(mutex_);
  NodeInfo info;
  info.created = {file.modified};
  if (const Nodes* nodes = walks_.Latest(ParentOf(file.path))) {
    const auto known = nodes->find(LeafOf(file.path));
    if (known != nodes->end()) info.created = known->second.created;
  }
  walks_.Put(file.path, InfoOf(file, info));
}

FileHandle VirtualDrive::Acquire(TextView path, const NodeInfo& info) {
  const std::lock_guard lock(mutex_);
  FileHandle& file = open_files_[Text(path)];
  if (!file) {
    file = std::make_shared<OpenFile>();
    file->path = path;
    file->size = info.size;
    file->modified = info.modified.value;
  }
  ++file->open_count;
  return file;
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
