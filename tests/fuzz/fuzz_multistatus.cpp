// Replies to a listing: whatever the server sends gives no listing, or one that is safe to walk.
#include <algorithm>
#include <iterator>

#include "tests/fuzz/require.h"
#include "webdav/multistatus.h"

namespace {

using zv::testing::Require;

zv::Text ReadText(const zv::XmlNode& node, zv::TextView path) {
  const auto found = node.SelectSingle(path);
  return found ? found->NodeText() : zv::Text();
}

void CheckEntry(const zv::DirectoryEntry& entry) {
  Require(entry.kind == zv::kListedEntryKind);
  Require(entry.directory_flag <= 1);
  Require(entry.size >= 0 && (entry.size == 0 || entry.directory_flag == 0));
  Require(entry.name[std::size(entry.name) - 1] == u'\0');
  Require(entry.Name().find(u'/') == zv::TextView::npos);
  Require(entry.creation_time >= 0 && entry.last_write_time >= 0);
  Require(entry.last_access_time == entry.last_write_time &&
          entry.change_time == entry.last_write_time);
}

void CheckListing(const std::vector<zv::DirectoryEntry>& entries) {
  Require(entries.size() >= zv::kFewestListingRecords);
  const auto last = std::find_if(entries.begin(), entries.end(),
                                 [](const auto& entry) { return entry.last_entry == 1; });
  Require(last != entries.end() && last > entries.begin());
  std::for_each(entries.begin(), last + 1, CheckEntry);
  Require(entries[0].Name() == u"." && entries[1].Name() == u"..");
  Require(std::none_of(last + 1, entries.end(),
                       [](const auto& entry) { return entry.last_entry != 0; }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zv::XmlDocument reply;
  if (!reply.Load(zv::FromAnsi({reinterpret_cast<const char*>(data), size}))) return 0;
  if (const auto listing = zv::ReadMultistatus(reply, u"/users/u/Files", ReadText)) {
    CheckListing(listing->entries);
  }
  return 0;
}
