// What tests need of the shared block beyond its address. Linux.
#pragma once

namespace zv::testing {

// Removes the block of the current home, so that the next process to ask gets a fresh one.
// Processes that have it, this one included, keep what they have; a later SetHomeFolder gets this
// one out of it.
void RemoveSharedMemory();

}  // namespace zv::testing
