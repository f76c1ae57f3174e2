// A file system as it ought to be, for tests that play random operations against it.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "apps/zvdrive/drive/drive_error.h"
#include "apps/zvdrive/drive/drive_path.h"

namespace zv::testing {

struct ModelFile {
  std::string content;
  bool is_gone = false;
};

struct ModelNode {
  bool is_folder = false;
  std::shared_ptr<ModelFile> file;  // null for folders
};

// Paths as on the drive. The root is always there.
class DriveModel {
 public:
  DriveError Look(TextView path) const {
    for (Text folder = ParentOf(path); folder != kDriveRoot; folder = ParentOf(folder)) {
      const auto above = nodes_.find(folder);
      if (above != nodes_.end() && !above->second.is_folder) return DriveError::kNotFolder;
    }
    return nodes_.contains(Text(path)) ? DriveError::kNone : DriveError::kNotFound;
  }
  bool IsFolder(TextView path) const { return nodes_.at(Text(path)).is_folder; }
  bool IsEmpty(TextView folder) const { return Names(folder).empty(); }
  std::shared_ptr<ModelFile> File(TextView path) const { return nodes_.at(Text(path)).file; }

  std::map<Text, int64_t> Names(TextView folder) const {
    std::map<Text, int64_t> names;
    for (const auto& [path, node] : nodes_) {
      if (ParentOf(path) != folder) continue;
      names[LeafOf(path)] = node.file ? static_cast<int64_t>(node.file->content.size()) : -1;
    }
    return names;
  }

  DriveError CheckAbsent(TextView path) const {
    const DriveError error = Look(path);
    if (error == DriveError::kNone) return DriveError::kExists;
    if (error != DriveError::kNotFound) return error;
    const Text parent = ParentOf(path);
    const bool has_parent = parent == kDriveRoot || nodes_.contains(parent);
    return has_parent ? DriveError::kNone : DriveError::kNotFound;
  }

  DriveError Make(TextView path, bool is_folder) {
    if (const DriveError error = CheckAbsent(path); error != DriveError::kNone) return error;
    nodes_[Text(path)] = {is_folder, is_folder ? nullptr : std::make_shared<ModelFile>()};
    return DriveError::kNone;
  }

  DriveError Open(TextView path, bool empty_it) {
    if (const DriveError error = Look(path); error != DriveError::kNone) return error;
    if (IsFolder(path)) return DriveError::kIsFolder;
    if (empty_it) File(path)->content.clear();
    return DriveError::kNone;
  }

  DriveError Remove(TextView path, bool is_folder) {
    if (const DriveError error = Look(path); error != DriveError::kNone) return error;
    if (IsFolder(path) != is_folder) {
      return is_folder ? DriveError::kNotFolder : DriveError::kIsFolder;
    }
    if (is_folder && !IsEmpty(path)) return DriveError::kNotEmpty;
    Erase(path);
    return DriveError::kNone;
  }

  // What a rename will answer.
  DriveError CheckRename(TextView from, TextView to, bool replace) const {
    if (const DriveError error = Look(from); error != DriveError::kNone) return error;
    if (from == to) return DriveError::kNone;
    if (IsWithin(to, from)) return DriveError::kIntoItself;
    const DriveError absent = CheckAbsent(to);
    if (absent != DriveError::kExists || !replace) return absent;
    if (IsFolder(from) != IsFolder(to)) {
      return IsFolder(from) ? DriveError::kNotFolder : DriveError::kIsFolder;
    }
    return IsFolder(to) && !IsEmpty(to) ? DriveError::kNotEmpty : DriveError::kNone;
  }

  DriveError Rename(TextView from, TextView to, bool replace) {
    const DriveError error = CheckRename(from, to, replace);
    if (error != DriveError::kNone || from == to) return error;
    if (nodes_.contains(Text(to))) Erase(to);
    std::map<Text, ModelNode> moved;
    for (const auto& [path, node] : nodes_) {
      const bool follows = IsWithin(path, from);
      moved[follows ? Text(to).append(TextView(path).substr(from.size())) : path] = node;
    }
    nodes_ = std::move(moved);
    return DriveError::kNone;
  }

  const std::map<Text, ModelNode>& nodes() const { return nodes_; }

  std::map<Text, std::optional<std::string>> Tree() const {
    std::map<Text, std::optional<std::string>> tree;
    for (const auto& [path, node] : nodes_) {
      tree[path] = node.file ? std::optional(node.file->content) : std::nullopt;
    }
    return tree;
  }

 private:
  void Erase(TextView path) {
    if (const auto file = File(path)) file->is_gone = true;
    nodes_.erase(Text(path));
  }

  std::map<Text, ModelNode> nodes_;
};

}  // namespace zv::testing
