// A listing file in a cache folder.
#pragma once

#include <atomic>
#include <thread>
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
  // Reads the listing again and again while it is replaced: each text is one of the two, whole.
  // read gives an optional Text.
  template <typename Read>
  void ExpectWholeWhileItIsReplaced(const Read& read) const {
    const Text small(1000, u's');
    const Text large(50'000, u'l');
    ASSERT_TRUE(ReplaceListing(names_, file_, small));
    std::atomic<bool> writes = true;
    std::jthread writer([&] {
      for (int i = 0; i < 100; ++i) ReplaceListing(names_, file_, i % 2 ? small : large);
      writes = false;
    });
    while (writes) {
      const auto text = read();
      ASSERT_TRUE(text);
      ASSERT_TRUE(*text == small || *text == large) << text->size();
    }
  }
  const CacheNames names_{u"C:\\Apps\\Host\\Cache@u\\"};
  const Text file_ = names_.GetDirRecordName(u"/d");
};

}  // namespace zv::testing
