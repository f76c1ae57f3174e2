// One range of one file, on its way between driver, cache and server.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/text.h"

namespace zv {

struct TransferRequest {
  Text path;                    // server path, relative to the account root
  int64_t file_size = 0;        // bytes; -1 after a read whose offset lies beyond the end
  uint32_t length = 0;          // bytes of this range; a read lowers it to what was there
  std::byte* buffer = nullptr;  // the caller's, `length` bytes
  int64_t offset = 0;           // bytes from the start of the file
  bool force_store = false;     // at offset 0: the file begins anew with this block
};

}  // namespace zv
