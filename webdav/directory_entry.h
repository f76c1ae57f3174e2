// One listed name: the record that the server's listing, the cache and the driver share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/text.h"

namespace zv {

inline constexpr size_t kEntryNameUnits = 260;  // with the terminator

// 584 bytes, little-endian, as the driver takes it. Times are whole seconds since 1601-01-01 UTC.
struct DirectoryEntry {
  uint32_t directory_flag = 0;  // 1 folder, 0 file; in a reply 0xFFFFFFFF: no such entry
  uint32_t name_length = 0;  // UTF-16 units of the whole name, which may be longer than the field
  uint32_t attributes = 0;
  uint32_t kind = 0;  // 9 in listings; 1 for a single look-up; the asked index in a directory reply
  int64_t size = 0;   // bytes
  uint32_t last_entry = 0;  // 1 on the last one of an array or listing
  uint32_t padding = 0;
  int64_t creation_time = 0;
  int64_t last_access_time = 0;
  int64_t last_write_time = 0;
  int64_t change_time = 0;
  char16_t name[kEntryNameUnits] = {};

  // Cuts at 259 units and terminates; the length field receives the whole length.
  void SetName(TextView text);
  // Up to the terminator, at most 259 units.
  TextView Name() const;
  // The last-access, last-write and change times are one time in every listing.
  void SetModified(int64_t seconds) { last_access_time = last_write_time = change_time = seconds; }
};

inline constexpr uint32_t kNoSuchEntry = 0xFFFFFFFF;
inline constexpr uint32_t kListedEntryKind = 9;
inline constexpr uint32_t kSingleEntryKind = 1;

static_assert(sizeof(DirectoryEntry) == 584);
static_assert(offsetof(DirectoryEntry, directory_flag) == 0);
static_assert(offsetof(DirectoryEntry, name_length) == 4);
static_assert(offsetof(DirectoryEntry, attributes) == 8);
static_assert(offsetof(DirectoryEntry, kind) == 12);
static_assert(offsetof(DirectoryEntry, size) == 16);
static_assert(offsetof(DirectoryEntry, last_entry) == 24);
static_assert(offsetof(DirectoryEntry, creation_time) == 32);
static_assert(offsetof(DirectoryEntry, last_access_time) == 40);
static_assert(offsetof(DirectoryEntry, last_write_time) == 48);
static_assert(offsetof(DirectoryEntry, change_time) == 56);
static_assert(offsetof(DirectoryEntry, name) == 64);

}  // namespace zv
