// Running out of memory for transfer buffers in tests.
#pragma once

#include <cstdint>

namespace zv::testing {

// The next buffers, so many, are absent as if memory had run out. Any thread.
void FailTransferBuffers(uint32_t count);

}  // namespace zv::testing
