#include "webdav/multistatus.h"

#include <algorithm>
#include <new>

#include "webdav/dates.h"
#include "webdav/href.h"

namespace zv {
namespace {

constexpr TextView kResponses = u"/D:multistatus/D:response";
constexpr TextView kHref = u"D:href";
constexpr TextView kContentLength = u"D:propstat/D:prop/lp0:getcontentlength";
constexpr TextView kCreationDate = u"D:propstat/D:prop/lp0:creationdate";
constexpr TextView kLastModified = u"D:propstat/D:prop/lp0:getlastmodified";
constexpr TextView kQuota = u"D:propstat/D:prop/D:quota";
constexpr TextView kUsed = u"D:propstat/D:prop/D:used";

constexpr size_t kDotRecords = 2;  // "." and ".." stand before the members
static_assert(kFewestListingRecords * sizeof(DirectoryEntry) == 54896);

void SetTimes(const XmlNode& response, const NodeTextReader& read_text, DirectoryEntry& entry) {
  entry.creation_time = ParseCreationDate(read_text(response, kCreationDate)).value;
  entry.SetModified(ParseLastModified(read_text(response, kLastModified)).value);
}

void FillDotEntries(const XmlNode& first, const NodeTextReader& read_text,
                    std::vector<DirectoryEntry>& entries) {
  DirectoryEntry& dot = entries[0];
  dot.directory_flag = 1;
  dot.kind = kListedEntryKind;
  SetTimes(first, read_text, dot);
  entries[1] = dot;
  entries[0].SetName(u".");
  entries[1].SetName(u"..");
  // The length field of these two stays 0: the driver tells them by the name.
  entries[0].name_length = entries[1].name_length = 0;
}

struct Leaf {
  bool is_folder = false;
  TextView name;
};

// The last element of a decoded href, which begins with the account's root and a slash.
Leaf LeafOf(TextView href, size_t prefix_units) {
  Leaf leaf;
  leaf.name = href.substr(std::min(prefix_units, href.size()));
  leaf.is_folder = leaf.name.ends_with(u'/');
  if (leaf.is_folder) leaf.name.remove_suffix(1);
  if (const size_t slash = leaf.name.rfind(u'/'); slash != TextView::npos) {
    leaf.name.remove_prefix(slash + 1);
  }
  while (leaf.name.ends_with(u'\r') || leaf.name.ends_with(u'\n')) leaf.name.remove_suffix(1);
  return leaf;
}

void FillEntry(const XmlNode& response, size_t prefix_units, const NodeTextReader& read_text,
               DirectoryEntry& entry) {
  const Text href = DecodeHref(read_text(response, kHref));
  const Leaf leaf = LeafOf(href, prefix_units);
  entry.directory_flag = leaf.is_folder ? 1 : 0;
  entry.kind = kListedEntryKind;
  entry.SetName(leaf.name);
  if (!leaf.is_folder) {
    entry.size = std::max<int64_t>(ParseInt64(read_text(response, kContentLength)), 0);
  }
  SetTimes(response, read_text, entry);
}

}  // namespace

std::optional<Multistatus> ReadMultistatus(const XmlDocument& reply, TextView account_root,
                                           const NodeTextReader& read_text) {
  const std::vector<XmlNode> responses = reply.Select(kResponses);
  const size_t count = responses.size();
  if (count == 0) return std::nullopt;
  if (count > kMostResponses) throw std::bad_alloc();
  if (count == 1 && !DecodeHref(read_text(responses[0], kHref)).ends_with(u'/')) {
    return std::nullopt;
  }
  Multistatus listing;
  listing.entries.resize(std::max(count + kDotRecords, kFewestListingRecords));
  FillDotEntries(responses.front(), read_text, listing.entries);
  for (size_t i = 0; i + 1 < count; ++i) {
    FillEntry(responses[i], account_root.size() + 1, read_text, listing.entries[kDotRecords + i]);
  }
  listing.entries[count].last_entry = 1;
  listing.quota = ParseInt64(read_text(responses.back(), kQuota));
  listing.used = ParseInt64(read_text(responses.back(), kUsed));
  return listing;
}

}  // namespace zv
