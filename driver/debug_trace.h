// The debug trace hook: the driver channel's commentary for a developer with a debugger. It writes
// nothing; whoever needs it routes it to WriteDebugOutput while looking for a fault.
#pragma once

#include "platform/text.h"

namespace zv {

template <typename... Args>
constexpr void DebugTrace(TextView /*format*/, const Args&... /*args*/) {}

}  // namespace zv
