#include "platform/shared_memory.h"

namespace zv {
namespace {

// A section of the image that links this, marked shared: every process that loads the image sees
// the same bytes. It must be initialised to be part of the image.
alignas(64)
    __attribute__((section(".zvshr"), shared)) unsigned char shared_block[kSharedMemorySize] = {0};

}  // namespace

void* SharedMemory() { return shared_block; }

}  // namespace zv
