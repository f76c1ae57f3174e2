// Where the cache lives and how server paths are turned into the names of its files. Touches no
// disk. Any thread.
#pragma once

#include "platform/text.h"

namespace zv {

// Percent-encodes the characters that no file name may hold; everything else stays.
Text EncodeCacheName(TextView text);

// Parts of a server path. The parent is everything before the last "/" ("/" when that is empty),
// the leaf everything after it; of a path without "/" all is leaf.
Text PathParent(TextView path);
// The same parent, but empty for what lies in the root.
TextView FolderPart(TextView path);
TextView PathLeaf(TextView path);
// Without one trailing "/".
TextView WithoutTrailingSlash(TextView path);

// Whether the path is the other one or lies beneath it.
bool IsAtOrBeneath(TextView path, TextView top);

// Whether a file of this name in the cache folder would be taken for one of the cache's own.
bool IsCacheFileName(TextView leaf);

class CacheNames {
 public:
  // The cache folder of the account in the settings. Throws where these cannot be read.
  CacheNames();
  // folder ends with a backslash.
  explicit CacheNames(Text folder) : folder_(std::move(folder)) {}

  // Ends with a backslash.
  const Text& folder() const { return folder_; }
  // The folder beside the cache folder for files that are not (yet) part of the cache: downloads
  // and listings that are being written, the list of pending uploads. Ends with a backslash.
  Text work_folder() const;
  // Listing file of a folder; "/", "" and a path's trailing "/" are taken care of.
  Text GetDirRecordName(TextView path) const;
  // Content file of a file; ends in "#".
  Text GetFileRecordName(TextView path) const;
  // Time file: beside the listing for a path that ends in "/", beside the content file otherwise.
  Text GetTimeFileName(TextView path) const;

 private:
  Text FlatPath(TextView path) const;

  Text folder_;
  Text prefix_ = u"ZV";
};

inline constexpr TextView kTimeFileSuffix = u".time";

}  // namespace zv
