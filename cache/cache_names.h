// Where the cache lives and how server paths are turned into the names of its files. Touches no disk.
#pragma once

#include "platform/text.h"

namespace zv {

// Percent-encodes the characters that no file name may hold; everything else stays.
Text EncodeCacheName(TextView text);

class CacheNames {
 public:
  // The cache folder of the account in the settings.
  CacheNames();
  explicit CacheNames(Text folder) : folder_(std::move(folder)) {}

  // Ends with a backslash.
  const Text& folder() const { return folder_; }
  // Listing file of a folder; "/", "" and a path's trailing "/" are taken care of.
  Text GetDirRecordName(TextView path) const;
  // Content file of a file; ends in "#".
  Text GetFileRecordName(TextView path) const;
  // Time file: beside the listing for a path that ends in "/", beside the content file otherwise.
  Text GetTimeFileName(TextView path) const;

 private:
  Text folder_;
  Text prefix_ = u"ZV";
};

}  // namespace zv
