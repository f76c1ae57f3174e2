// What a listing's reply says (RFC 4918, section 9.1): members first, the folder itself last.
// Elements are found by the prefixes that the server writes, "D:" and "lp0:", whatever they stand
// for.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "platform/xml.h"
#include "webdav/directory_entry.h"

namespace zv {

// No listing buffer is smaller than this many records (54,896 bytes).
inline constexpr size_t kFewestListingRecords = 94;
// A reply with more responses is refused: no folder has so many, and each costs 584 bytes.
inline constexpr size_t kMostResponses = 1'000'000;

struct Multistatus {
  // ".", ".." and the members; the last of them has the last-entry flag, unused records follow.
  std::vector<DirectoryEntry> entries;
  int64_t quota = 0;  // as the server says, in mebibytes
  int64_t used = 0;
};

// The text of the first node that the path selects beneath the node; empty when there is none.
using NodeTextReader = std::function<Text(const XmlNode& node, TextView path)>;

// Reads the loaded reply. account_root: without a slash at its end. nullopt when the reply has no
// response, or tells of a file instead of a folder. Throws std::bad_alloc, what the document's
// selection throws and what the reader throws. One thread at a time, as the document.
std::optional<Multistatus> ReadMultistatus(const XmlDocument& reply, TextView account_root,
                                           const NodeTextReader& read_text);

}  // namespace zv
