// What each of several processes does in the append test.
#pragma once

#include "platform/text.h"

namespace zv::testing {

// Appends `count` lines "<tag><thread>-<number>\r\n" in each of two threads at once, opening and
// closing the file for every line as the logs do.
void AppendLinesInTwoThreads(const Text& path, char16_t tag, int count);

}  // namespace zv::testing
