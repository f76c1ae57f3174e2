// Keeps two server paths that share one cache name from both being served.
//
// In the cache, separators become "#" and names are case-blind: "/a#b.txt" and "/a/b.txt", or "/x"
// and
// "/X", would read each other's content. The first one that is used owns the name for as long as
// the drive is mounted or the entry lives; the other one is refused.
#pragma once

#include <unordered_map>

#include "platform/text.h"

namespace zv {

// Not thread-safe: the drive calls it under its own lock.
class NameGuard {
 public:
  // True when the path owns its cache name afterwards.
  bool Claim(TextView path, bool is_folder);
  // Gives up the names of the path and of everything beneath it.
  void Release(TextView path);

 private:
  bool ClaimName(Text name, TextView path);

  std::unordered_map<Text, Text> owners_;  // folded cache name -> path
};

}  // namespace zv
