// A listing file in a cache folder.
#pragma once

#include <utility>

#include "cache/listing_file.h"
#include "cache/work_file.h"
#include "tests/support/test_home.h"

namespace zv::testing {

class ListingFile : public HomeTest {
 protected:
  ListingFile() { MakeFolders(u"C:\\Apps\\Host\\Cache@u"); }
  bool Extend(TextView text, TextView records) const {
    File file = File::Open(file_, Access::kReadWrite, Disposition::kOpenAlways);
    return ExtendListing(names_, file_, std::move(file), text, records);
  }
  const CacheNames names_{u"C:\\Apps\\Host\\Cache@u\\"};
  const Text file_ = names_.GetDirRecordName(u"/d");
};

}  // namespace zv::testing
