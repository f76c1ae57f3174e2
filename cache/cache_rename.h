// A rename on its way through the cache, and the cache files of a folder's subtree.
#pragma once

#include <vector>

#include "cache/cache.h"
#include "cache/cache_names.h"

namespace zv {

struct CCache::Rename {
  enum class Known { kNothing, kFile, kFolder };

  TextView old_path;
  TextView new_path;
  bool tell_server = false;
  uint32_t result = kRenameDone;
  bool ended = false;             // the server step failed, and the cache stays as it is
  Known known = Known::kNothing;  // what the listing says of the old path
  // SubtreeFiles of both paths, unless the old one is a file.
  std::vector<Text> old_files = {};
  std::vector<Text> new_files = {};
};

// Full names of the cache files of a folder and of everything beneath it: its listing, the listings
// and content files of its subtree, each with its time file. Files of siblings whose names begin
// alike are not among them. Throws Error(kFile) when the cache's folder cannot be read.
std::vector<Text> SubtreeFiles(const CacheNames& names, TextView folder);

// The name that one of those files has after the folder's rename.
Text SubtreeFileAfterRename(const CacheNames& names, TextView file, TextView old_path,
                            TextView new_path);

}  // namespace zv
