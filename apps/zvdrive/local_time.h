// Times for people.
#pragma once

#include <string>

#include "platform/clock.h"

namespace zv {

enum class TimeDetail { kMinutes, kSeconds };

// "2024-02-29 12:34" or "2024-02-29 12:34:56", in the machine's time zone; empty for a time that
// has no date there. One thread at a time.
std::string FormatTime(Seconds1601 time, TimeDetail detail);

}  // namespace zv
