// Files on their way into the cache: written whole in the work folder beside it, then moved into
// place. Any thread.
#pragma once

#include <string_view>

#include "cache/cache_names.h"
#include "platform/text.h"

namespace zv {

// Puts bytes in the place of a file in one step; what stood there stays until then. False, with
// LastError(), when that cannot be done (other ways may be left). Throws Error(kFile) when the
// bytes cannot be written, with the old file as it was.
bool ReplaceFileWhole(const CacheNames& names, TextView path, std::string_view bytes);

// The name of a partial copy of one cache file, for as long as the copy is being made. Removes the
// leftovers of earlier crashes: of this file, and whatever else was not written to for a while. The
// partial copy itself is removed at the end, unless it was moved into place.
class PartialFile {
 public:
  PartialFile(const CacheNames& names, TextView cache_file);
  ~PartialFile();
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;

  const Text& path() const { return path_; }
  // Moves the copy over the cache file; false, with LastError().
  bool MoveIntoPlace();

 private:
  Text cache_file_;
  Text path_;
};

}  // namespace zv
