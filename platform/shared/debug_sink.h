// Where debug output goes when no test listens.
#pragma once

#include "platform/text.h"

namespace zv {

void WriteToDebugSink(TextView text);

}  // namespace zv
