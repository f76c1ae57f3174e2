// The platform's debug output: the debugger's on Windows, stderr on Linux when ZVWORKER_DEBUG is
// set in the environment. Any thread.
#pragma once

#include <functional>

#include "platform/text.h"

namespace zv {

void WriteDebugOutput(TextView text);

namespace testing {
// Also hands every text to the observer; an empty one ends that.
void SetDebugOutputObserver(std::function<void(TextView)> observer);
}  // namespace testing

}  // namespace zv
