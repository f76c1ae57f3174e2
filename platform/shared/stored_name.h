// Under what name a file is stored whose own name is too long for the disk.
//
// The name of a cached file grows with the server path it stands for, and passes what a disk takes:
// 255 UTF-8 bytes on Linux, 255 units on Windows. Such a file is stored under a shorter name, made
// of the beginning of the name and a hash of it, both of the small-letter form, so that look-ups
// need nothing but the name and are case-blind by themselves. The true name is kept in the hidden
// folder ".zvnames" beside it, in a file of the shorter name, for listings.
#pragma once

#include <string_view>

#include "platform/text.h"

namespace zv {

Text StoredNameOf(TextView long_name);

inline constexpr size_t kStoredPrefixUnits = 64;
inline constexpr size_t kStoredHashDigits = 32;

// By its look; an ordinary name may look like it, too, and then has no true name.
template <typename Unit>
bool LooksStored(std::basic_string_view<Unit> name) {
  // The prefix is a unit shorter when it would have split a surrogate pair.
  return name.size() >= kStoredPrefixUnits + kStoredHashDigits &&
         name[name.size() - kStoredHashDigits - 1] == Unit{'~'};
}

}  // namespace zv
