// Times, and the one place where the library waits. Any thread.
//
// Two units live in the product and must not be mixed: whole seconds since 1601-01-01 UTC (entry
// records, listings) and 100-nanosecond units since the same instant (time files, the system's
// own).
#pragma once

#include <compare>
#include <cstdint>

#include "platform/text.h"

namespace zv {

struct Seconds1601 {
  int64_t value = 0;
  auto operator<=>(const Seconds1601&) const = default;
};

struct FileTime {
  uint64_t value = 0;  // 100-nanosecond units since 1601-01-01 UTC
  auto operator<=>(const FileTime&) const = default;
};

inline constexpr int64_t kFileTimeUnitsPerSecond = 10'000'000;
inline constexpr int64_t kUnixEpochSeconds1601 =
    11'644'473'600;  // 1970-01-01 in seconds since 1601

// Truncates toward zero.
constexpr Seconds1601 ToSeconds(FileTime time) {
  return {static_cast<int64_t>(time.value) / kFileTimeUnitsPerSecond};
}
constexpr FileTime ToFileTime(Seconds1601 time) {
  return {static_cast<uint64_t>(time.value * kFileTimeUnitsPerSecond)};
}
constexpr int64_t ToUnix(Seconds1601 time) { return time.value - kUnixEpochSeconds1601; }
constexpr Seconds1601 FromUnix(int64_t seconds) { return {seconds + kUnixEpochSeconds1601}; }

// A calendar time, UTC or local by context. month 1-12, day 1-31, second 0-59.
struct CalendarTime {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, millisecond = 0;
  bool operator==(const CalendarTime&) const = default;
};

// False when the fields are no date after 1600 (day 31 of February, month 0, ...).
bool CalendarToFileTime(const CalendarTime& utc, FileTime* out);
bool FileTimeToCalendar(FileTime time, CalendarTime* utc);
// To the machine's current time zone, with the rules in force at that time of the year.
bool UtcToLocal(const CalendarTime& utc, CalendarTime* local);

// Now, UTC.
FileTime SystemTime();
// Seconds since 1970-01-01 UTC.
int64_t UnixTime();
// Pauses the calling thread.
void SleepMs(uint32_t milliseconds);

}  // namespace zv
