#include "apps/zvdrive/drive/name_guard.h"

#include <algorithm>

#include "apps/zvdrive/drive/drive_path.h"

namespace zv {
namespace {

// What the names of a path in the cache have in common; empty for the root.
Text Folded(TextView path) {
  return path == kDriveRoot ? Text() : ToLower(ReplaceAll(path, u'\\', u'#'));
}

}  // namespace

std::vector<Text> NameGuard::NamesOf(TextView path, bool is_folder) {
  const Text folded = Folded(path);
  // Files and folders share this one: what is renamed or deleted loses all that is cached under its
  // name, of either kind.
  const Text any = u"any" + folded;
  if (!is_folder) return {any};
  // A folder's time file is named like the listing of a folder with ".time" at its end.
  return {any, u"dir" + folded, u"dir" + folded + u".time"};
}

bool NameGuard::Claim(TextView path, bool is_folder) {
  const auto names = NamesOf(path, is_folder);
  const bool is_free = std::ranges::all_of(names, [&](const Text& name) {
    const auto owner = owners_.find(name);
    return owner == owners_.end() || owner->second.path == path;
  });
  if (!is_free) return false;
  Names claimed;
  for (const Text& name : names) claimed.try_emplace(name, Owner{Text(path), is_folder});
  owners_.merge(claimed);
  return true;
}

void NameGuard::Release(TextView path) noexcept {
  std::erase_if(owners_, [&](const auto& owner) { return IsWithin(owner.second.path, path); });
}

std::vector<NameGuard::Owner> NameGuard::OwnersWithin(TextView path) const {
  std::vector<Owner> result;
  for (const auto& [name, owner] : owners_) {
    if (IsWithin(owner.path, path)) result.push_back(owner);
  }
  return result;
}

bool NameGuard::CanMove(TextView from, TextView to, bool is_folder) const {
  const auto is_free = [&](const Text& name) {
    const auto owner = owners_.find(name);
    return owner == owners_.end() || IsWithin(owner->second.path, from) ||
           IsWithin(owner->second.path, to);
  };
  auto moved = OwnersWithin(from);
  moved.push_back({Text(from), is_folder});
  return std::ranges::all_of(moved, [&](const Owner& owner) {
    const Text path = Text(to).append(TextView(owner.path).substr(from.size()));
    return std::ranges::all_of(NamesOf(path, owner.is_folder), is_free);
  });
}

NameGuard::Names NameGuard::NamesUnder(TextView from, TextView to) const {
  Names names;
  for (const Owner& owner : OwnersWithin(from)) {
    const Text path = Text(to).append(TextView(owner.path).substr(from.size()));
    for (const Text& name : NamesOf(path, owner.is_folder)) {
      names.try_emplace(name, Owner{path, owner.is_folder});
    }
  }
  return names;
}

void NameGuard::Move(TextView from, TextView to, Names names) noexcept {
  Release(from);
  Release(to);
  owners_.merge(names);
}

bool NameGuard::IsAffected(TextView path, TextView folder) {
  const Text folded = Folded(path);
  const Text stem = Folded(folder);
  return folded == stem || folded.starts_with(stem + u'#');
}

std::vector<Text> NameGuard::Bystanders(TextView folder) const {
  std::vector<Text> result;
  for (const auto& [name, owner] : owners_) {
    const bool is_elsewhere = !owner.is_folder && !IsWithin(owner.path, folder);
    if (is_elsewhere && IsAffected(owner.path, folder)) result.push_back(owner.path);
  }
  return result;
}

}  // namespace zv
