// What each of several processes does in the shared log's test.
#pragma once

#include "platform/text.h"

namespace zv::testing {

// The three units of a line that no other number of no other writer has.
Text ShortLine(int number);

// Writes the trace lines of the numbers [first, first + count) through one log object and as many
// again through another, at the same time.
void WriteLinesInTwoThreads(TextView file_name, int first, int count);

}  // namespace zv::testing
