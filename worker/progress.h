// Publishing and reading the progress record and the used space. Any thread, any process.
#pragma once

#include <cstdint>

#include "platform/text.h"
#include "worker/shared_block.h"

namespace zv {

// Publishes a transfer's state. start_time: seconds since 1970, taken from UnixTime(); what has
// gone by since is published as elapsed seconds. True when a cancel was asked for, which is cleared
// by that.
bool SetProgressDetails(TransferKind kind, TextView name, uint32_t first_count,
                        uint32_t second_count, int64_t start_time);
// Idle, an empty name and zeros. True as above.
bool PublishIdle();
void ClearCancelRequest();

// Reads the record. Each pointer may be null. mode 1: name (260 units) is an input, and the
// transfer of that name (case-blind) is asked to cancel; otherwise it receives at most 259 units
// and a terminator. Returns the kind, sign-extended; 0 when the comparison fails.
int32_t ReadProgressDetails(char16_t* name, uint32_t* first_count, uint32_t* second_count,
                            uint32_t* elapsed_seconds, uint16_t mode);
// Zeroes all 536 bytes.
void ResetProgress();

void SetUsedSpaceMib(uint64_t mebibytes);
uint64_t UsedSpaceMib();
// Used space in bytes.
uint64_t GetUsedSpaceBytes();

}  // namespace zv
