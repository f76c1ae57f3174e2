// Large writes are received into blocks of their own, which can be handed on as they are: what lies
// in libfuse's buffer is gone when the write is answered.
#pragma once

#include <cstddef>
#include <span>

#include "apps/zvdrive/drive/write_block.h"

namespace zv {

// Reads one request as libfuse expects it in its buffer, but for the bytes of a large write. Its
// size, or -1 with errno.
ptrdiff_t ReceiveRequest(int device, std::span<std::byte> buffer);

// The bytes of the write that this thread answers; nullptr when they lie in libfuse's buffer. Who
// takes the block leaves another one, or none.
WriteBlockPtr* ReceivedWrite();

}  // namespace zv
