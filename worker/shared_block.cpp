#include "worker/shared_block.h"

#include "platform/shared_memory.h"

namespace zv {

static_assert(sizeof(SharedBlock) <= kSharedMemorySize);

SharedBlock& GetSharedBlock() { return *static_cast<SharedBlock*>(SharedMemory()); }

}  // namespace zv
