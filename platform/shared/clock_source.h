// What the clock takes from the system, without any steering by tests.
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace zv {

FileTime RealSystemTime();
void RealSleepMs(uint32_t milliseconds);

}  // namespace zv
