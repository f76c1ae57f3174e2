// Time files: the server's last-modified time seen at the last refresh, 8 bytes, little-endian, in
// 100-nanosecond units since 1601-01-01 UTC. Any thread; may throw Error(kFile).
#pragma once

#include "cache/cache_names.h"
#include "platform/clock.h"

namespace zv {

// True also when the file cannot be created.
bool SetFileTimeEntry(const CacheNames& names, TextView path, FileTime time);
// False when the time file cannot be opened or is cut short.
bool GetFileTimeEntry(const CacheNames& names, TextView path, FileTime* time);
// 1 when both are the same to the second in local time, else 0.
uint32_t CompareFileTime(FileTime first, FileTime second);

}  // namespace zv
