// The block that every process loading the library shares: the account's used space and the
// progress of the one transfer. No lock: a reader may see a name of one update and counts of the
// next. This file and worker/progress.h stand on the ground floor: they use platform/ only, and
// every room may use them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zv {

enum class TransferKind : int16_t { kIdle = 0, kUpload = 1, kDownload = 2 };

// 536 bytes. The two counts depend on the kind: a download holds (bytes so far, file size), an
// upload (file size, bytes so far), each cut to 32 bits.
struct ProgressRecord {
  char16_t name[260];
  uint32_t first_count;
  uint32_t second_count;
  uint32_t elapsed_seconds;
  int16_t kind;
  uint8_t cancel_request;
  uint8_t padding;
};
static_assert(sizeof(ProgressRecord) == 536);
static_assert(offsetof(ProgressRecord, first_count) == 520);
static_assert(offsetof(ProgressRecord, second_count) == 524);
static_assert(offsetof(ProgressRecord, elapsed_seconds) == 528);
static_assert(offsetof(ProgressRecord, kind) == 532);
static_assert(offsetof(ProgressRecord, cancel_request) == 534);

struct SharedBlock {
  uint64_t used_space_mib;
  uint64_t reserved;
  ProgressRecord progress;
};
static_assert(offsetof(SharedBlock, used_space_mib) == 0);
static_assert(offsetof(SharedBlock, progress) == 16);

// The one block, at the same address for the life of the process. Any thread. Fields are written
// and read with relaxed atomic accesses by the functions of worker/progress.h; do not touch them
// directly.
SharedBlock& GetSharedBlock();

}  // namespace zv
