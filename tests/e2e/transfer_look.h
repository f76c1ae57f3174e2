// What the worker's processes publish of the transfer under way, seen from this process. On Windows
// through the loaded library, whose section they share; on Linux the worker's code in this process
// maps the same block.
#pragma once

#include <cstdint>
#include <string>

namespace zv::testing {

struct TransferLook {
  bool is_download = false;
  std::u16string name;
  uint32_t done = 0;   // bytes
  uint32_t total = 0;  // bytes
};

// Any thread.
TransferLook LookAtTransfer();

}  // namespace zv::testing
