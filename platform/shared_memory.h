// The block of memory that every process loading the library shares: zero in the first process,
// kept for later ones. No lock; bytes are what they are.
#pragma once

#include <cstddef>

namespace zv {

inline constexpr size_t kSharedMemorySize = 4096;

// The same address for the life of the process; at least kSharedMemorySize zero-initialised bytes,
// aligned for any type. Windows: a shared section of the library's image. Linux: POSIX shared
// memory of this user and home. When it cannot be had, private zeroed memory takes its place.
void* SharedMemory();

}  // namespace zv
