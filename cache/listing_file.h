// Listing files as a whole: read, replaced and appended to. UTF-16LE without a byte-order mark.
// Any thread. What breaks off in mid-work throws Error(kFile).
#pragma once

#include <mutex>
#include <optional>

#include "cache/cache_names.h"
#include "platform/file.h"
#include "platform/text.h"

namespace zv {

// Held while a listing is read, or read and rewritten, so that no thread of this process works on
// what another one is changing. Never across a request to the server. May be nested in one thread.
class ListingLock {
 public:
  ListingLock();

 private:
  std::unique_lock<std::recursive_mutex> lock_;
};

// Around one change of a listing. Unless it was stored, no comparison of times takes the listing
// for current any more: the next walk fetches it anew.
class StaleUnlessStored {
 public:
  explicit StaleUnlessStored(TextView listing_file);
  ~StaleUnlessStored();
  StaleUnlessStored(const StaleUnlessStored&) = delete;
  StaleUnlessStored& operator=(const StaleUnlessStored&) = delete;

  void Stored() { stored_ = true; }

 private:
  Text time_file_;
  bool stored_ = false;
};

// The whole text; nullopt, with LastError(), when the file cannot be opened so. kOpenAlways makes a
// missing file, empty.
std::optional<Text> ReadListing(TextView listing_file, Disposition disposition);

// Puts a listing in the place of the old one in one step, so that neither another reader nor the
// end of this process leaves a part of it. False, with LastError(), when the file cannot be opened
// for writing.
bool ReplaceListing(const CacheNames& names, TextView listing_file, TextView text);

// The same for a listing that holds this text and gets records at its end: without a new file where
// that is safe, too. file: the listing's, open for reading and writing.
bool ExtendListing(const CacheNames& names, TextView listing_file, File file, TextView text,
                   TextView records);

// Makes the listing of a new folder. False, with LastError(), when the file cannot be opened.
bool WriteRootLines(TextView listing_file);

// Adds records at the last whole unit of the file. False, with LastError(), when the file cannot be
// opened.
bool AppendToListing(TextView listing_file, TextView records, Disposition disposition);

}  // namespace zv
