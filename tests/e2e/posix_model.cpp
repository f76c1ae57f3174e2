#include "tests/e2e/posix_model.h"

#include <cerrno>

namespace zv::testing {
namespace {

constexpr TextView kHidden = u".fuse_hidden";

int ErrnoOf(DriveError error) {
  switch (error) {
    case DriveError::kNone:
      return 0;
    case DriveError::kNotFound:
      return ENOENT;
    case DriveError::kExists:
      return EEXIST;
    case DriveError::kNotEmpty:
      return ENOTEMPTY;
    case DriveError::kIsFolder:
      return EISDIR;
    case DriveError::kNotFolder:
      return ENOTDIR;
    case DriveError::kInvalidName:
    case DriveError::kIntoItself:
      return EINVAL;
    case DriveError::kNotUnique:
      return ENOTUNIQ;
    default:
      return EIO;  // the model has no others
  }
}

// As the cache calls what stands there.
Text CacheName(TextView path) { return ToLower(ReplaceAll(path, u'\\', u'#')); }

// Lowered; empty without one.
Text ExtensionOf(TextView path) {
  const Text leaf = ToLower(LeafOf(path));
  const size_t dot = leaf.rfind(u'.');
  return dot == Text::npos || dot == 0 ? Text() : leaf.substr(dot + 1);
}

// As editors save: a temporary file gets the name of a document.
bool IsSave(TextView from, TextView to) {
  const Text source = ExtensionOf(from);
  const Text target = ExtensionOf(to);
  return (source.empty() || source == u"tmp") && !target.empty() && target != u"tmp";
}

Text Moved(TextView path, TextView from, TextView to) {
  return Text(to).append(path.substr(from.size()));
}

}  // namespace

bool PosixModel::IsHiddenName(TextView leaf) { return leaf.starts_with(kHidden); }

int PosixModel::Look(TextView path) const {
  return path == kDriveRoot ? 0 : ErrnoOf(tree_.Look(path));
}

int PosixModel::OpenFile(TextView path) const {
  const int error = Look(path);
  return error == 0 && IsFolder(path) ? EISDIR : error;
}

int PosixModel::List(TextView path) const {
  const int error = Look(path);
  return error == 0 && !IsFolder(path) ? ENOTDIR : error;
}

std::map<Text, int64_t> PosixModel::Names(TextView folder) const {
  auto names = tree_.Names(folder);
  std::erase_if(names, [](const auto& entry) { return IsHiddenName(entry.first); });
  return names;
}

bool PosixModel::IsUnique(TextView path, TextView but, TextView nor) const {
  const Text name = CacheName(path);
  for (const auto& [other, node] : tree_.nodes()) {
    if (CacheName(other) != name || other == path) continue;
    if (!IsWithin(other, but) && !IsWithin(other, nor)) return false;
  }
  return true;
}

bool PosixModel::StayUnique(TextView from, TextView to) const {
  for (const auto& [path, node] : tree_.nodes()) {
    if (IsWithin(path, from) && !IsUnique(Moved(path, from, to), from, to)) return false;
  }
  return true;
}

int PosixModel::CheckNew(TextView path) const {
  const DriveError absent = tree_.CheckAbsent(path);
  if (absent != DriveError::kNone || !IsDrive()) return ErrnoOf(absent);
  if (path.find(u'?') != TextView::npos) return EINVAL;
  return IsUnique(path, path, path) ? 0 : ENOTUNIQ;
}

int PosixModel::MakeFile(TextView path) {
  if (const int error = CheckNew(path); error != 0) return error;
  tree_.Make(path, false);
  copies_[tree_.File(path)].is_written = true;
  return 0;
}

int PosixModel::MakeFolder(TextView path) {
  if (const int error = CheckNew(path); error != 0) return error;
  return ErrnoOf(tree_.Make(path, true));
}

int PosixModel::RemoveFile(TextView path) {
  if (const int error = OpenFile(path); error != 0) return error;
  if (IsDrive() && IsHeld(path)) {
    Hide(path);
    return 0;
  }
  return ErrnoOf(tree_.Remove(path, false));
}

int PosixModel::RemoveFolder(TextView path) {
  const int error = List(path);
  if (error != 0) return error;
  if (!tree_.IsEmpty(path)) return ENOTEMPTY;
  if (HasBystanders(path)) return ENOTUNIQ;
  return ErrnoOf(tree_.Remove(path, true));
}

bool PosixModel::HasBystanders(TextView folder) const {
  if (!IsDrive()) return false;
  const Text stem = CacheName(folder) + u"#";
  for (const auto& [path, node] : tree_.nodes()) {
    if (!node.file || IsWithin(path, folder) || !CacheName(path).starts_with(stem)) continue;
    const auto copy = copies_.find(node.file);
    if (copy != copies_.end() && (copy->second.holders > 0 || copy->second.is_kept)) return true;
  }
  return false;
}

std::optional<int> PosixModel::KernelsAnswer(TextView from, TextView to, bool replace) const {
  for (const TextView path : {from, to}) {
    if (const int error = List(ParentOf(path)); error != 0) return error;
  }
  if (const int error = Look(from); error != 0) return error;
  const bool target_exists = Look(to) == 0;
  if (target_exists && !replace) return EEXIST;
  if (from == to) return 0;
  if (IsWithin(to, from)) return EINVAL;
  if (IsWithin(from, to)) return ENOTEMPTY;
  if (target_exists && IsFolder(from) != IsFolder(to)) return IsFolder(from) ? ENOTDIR : EISDIR;
  return std::nullopt;
}

int PosixModel::Rename(TextView from, TextView to, bool replace) {
  if (const auto answer = KernelsAnswer(from, to, replace)) return *answer;
  const bool target_exists = Look(to) == 0;
  if (IsDrive() && !target_exists && to.find(u'?') != TextView::npos) return EINVAL;
  if (const DriveError error = tree_.CheckRename(from, to, replace); error != DriveError::kNone) {
    return ErrnoOf(error);
  }
  if (IsDrive() && !StayUnique(from, to)) return ENOTUNIQ;
  if (IsFolder(from) && (HasBystanders(from) || HasBystanders(to))) return ENOTUNIQ;
  if (IsDrive() && target_exists && !IsFolder(to) && IsHeld(to)) Hide(to);
  Move(from, to);
  return 0;
}

// What was written is sent before it gets another name. What the server does not have is renamed
// on this machine alone, and goes to the server when its new name does.
void PosixModel::Move(TextView from, TextView to) {
  for (const auto& [path, node] : tree_.nodes()) {
    if (node.file && IsWithin(path, from)) NoteSent(node.file);
  }
  if (!IsFolder(from)) {
    Copy& copy = copies_[File(from)];
    if (copy.is_kept) {
      copy.is_kept = !Sends(to) && !IsSave(from, to);
      copy.on_server.reset();
      if (Look(to) == 0) copy.on_server = copies_[File(to)].on_server;
      if (!copy.is_kept) copy.on_server = File(from)->content;
    }
  }
  tree_.Rename(from, to, true);
}

// As libfuse does it when somebody still has the file open.
void PosixModel::Hide(TextView path) {
  const Text name = Text(kHidden).append(FromUtf8(std::to_string(++hidden_so_far_)));
  Move(path, JoinPath(ParentOf(path), name));
}

void PosixModel::LetGo(const std::shared_ptr<ModelFile>& file) {
  if (--copies_[file].holders > 0) return;
  const Text path = PathOf(file);
  if (IsHiddenName(LeafOf(path))) tree_.Remove(path, false);
}

void PosixModel::NoteSent(const std::shared_ptr<ModelFile>& file) {
  Copy& copy = copies_[file];
  if (!copy.is_written) return;
  copy.is_written = false;
  copy.is_kept = !Sends(PathOf(file));
  if (!copy.is_kept) copy.on_server = file->content;
}

bool PosixModel::IsHeld(TextView path) const {
  const auto copy = copies_.find(File(path));
  return copy != copies_.end() && copy->second.holders > 0;
}

Text PosixModel::PathOf(const std::shared_ptr<ModelFile>& file) const {
  for (const auto& [path, node] : tree_.nodes()) {
    if (node.file == file) return path;
  }
  return {};
}

// On a sync account, names without an extension, of temporary files and of office lock files are
// not sent.
bool PosixModel::Sends(TextView path) const {
  if (kind_ != FolderKind::kSyncDrive) return true;
  const Text extension = ExtensionOf(path);
  if (extension.empty() || extension == u"tmp") return false;
  return !(LeafOf(path).starts_with(u"~$") && extension == u"doc");
}

ModelTree PosixModel::Tree() const {
  ModelTree tree = tree_.Tree();
  std::erase_if(tree, [](const auto& entry) { return IsHiddenName(LeafOf(entry.first)); });
  return tree;
}

ModelTree PosixModel::ServerTree() const {
  ModelTree tree;
  for (const auto& [path, node] : tree_.nodes()) {
    if (IsHiddenName(LeafOf(path))) continue;
    if (node.is_folder) {
      tree[path] = std::nullopt;
    } else if (const auto copy = copies_.find(node.file);
               copy != copies_.end() && copy->second.on_server) {
      tree[path] = copy->second.on_server;
    }
  }
  return tree;
}

size_t PosixModel::hidden_count() const {
  size_t count = 0;
  for (const auto& [path, node] : tree_.nodes()) count += IsHiddenName(LeafOf(path)) ? 1 : 0;
  return count;
}

}  // namespace zv::testing
