// Cancelling a transfer, in whatever process it is under way.
#pragma once

#include <cstddef>

#include "platform/text.h"

namespace zv {

// Of a transfer's name in the worker's progress record, its end included.
inline constexpr size_t kTransferNameUnits = 260;

// Asks the transfer of this name, as the record has it, to stop; an upload between two attempts,
// when the record is idle and its name empty, as well. Any thread.
void AskToCancel(Text name);

}  // namespace zv
