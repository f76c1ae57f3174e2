// Changes of single records, on a listing's text and across a fetch from the server.
#pragma once

#include <optional>
#include <vector>

#include "platform/text.h"
#include "webdav/directory_entry.h"

namespace zv {

struct ListingChange {
  TextView old_leaf;                 // its record is dropped, or renamed
  std::optional<TextView> new_leaf;  // renames it; what had this name before goes then
  TextView appended;                 // records added at the end
};

struct ListingChanged {
  Text text;
  bool held_records = false;
  std::optional<DirectoryEntry> matched;  // what had the old name, as it was
};

// Records come back as FormatRecord writes them; lines that are none are dropped.
ListingChanged ApplyChange(TextView text, const ListingChange& change);

// A fetch of one listing that is under way. The server's answer may be older than a change that
// another thread makes meanwhile; such changes are kept here and made once more to what was
// fetched. Thread rule: any thread; Note and Replay under a ListingLock, which its beginning and
// its end take by themselves.
class ListingFetch {
 public:
  explicit ListingFetch(TextView listing_file);
  ~ListingFetch();
  ListingFetch(const ListingFetch&) = delete;
  ListingFetch& operator=(const ListingFetch&) = delete;

  // Tells all fetches of this listing that it was changed.
  static void Note(TextView listing_file, const ListingChange& change) noexcept;
  // The fetched text with the changes since the fetch began. Throws std::bad_alloc, too, when there
  // was no memory to keep one of them.
  Text Replay(Text text) const;

 private:
  struct KeptChange {
    Text old_leaf;
    std::optional<Text> new_leaf;
    Text appended;
  };

  Text listing_file_;
  std::vector<KeptChange> changes_;
  bool missed_one_ = false;
};

}  // namespace zv
