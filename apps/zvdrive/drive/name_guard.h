// Keeps two server paths that share one cache name from both being served.
//
// In the cache, separators become "#" and names are case-blind: "/a#b.txt" and "/a/b.txt", or "/x"
// and "/X", would read each other's content. The first one that is used owns the name for as long
// as the drive is mounted or the entry lives; the other one is refused.
#pragma once

#include <map>
#include <vector>

#include "platform/text.h"

namespace zv {

// Not thread-safe: the drive calls it under its own lock.
class NameGuard {
 public:
  struct Owner {
    Text path;
    bool is_folder;
  };

  // True when the path owns its cache name afterwards; otherwise, and when it throws, nothing has
  // changed.
  bool Claim(TextView path, bool is_folder);
  // Gives up the names of the path and of everything beneath it.
  void Release(TextView path) noexcept;

  // Whether the path and what is owned beneath it could have their names under another path, where
  // nothing stands any more.
  bool CanMove(TextView from, TextView to, bool is_folder) const;
  // The names that what is owned beneath a path would have under another one.
  using Names = std::map<Text, Owner>;  // by folded cache name
  Names NamesUnder(TextView from, TextView to) const;
  // Takes them along; what had a name under the new path gives it up first.
  void Move(TextView from, TextView to, Names names) noexcept;

  // Files elsewhere whose names in the cache are as if they lay in the folder ("\C#\a.txt" and
  // "\C#.txt" beside "\C"): when it is renamed or deleted, what is cached of them goes, too.
  std::vector<Text> Bystanders(TextView folder) const;
  // Whether the path lies in the folder or is such a bystander.
  static bool IsAffected(TextView path, TextView folder);

 private:
  static std::vector<Text> NamesOf(TextView path, bool is_folder);
  std::vector<Owner> OwnersWithin(TextView path) const;

  Names owners_;
};

}  // namespace zv
