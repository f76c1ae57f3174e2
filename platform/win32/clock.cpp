#include "platform/clock.h"

#include <windows.h>

#include "platform/shared/clock_source.h"

namespace zv {

FileTime RealSystemTime() {
  FILETIME now;
  ::GetSystemTimeAsFileTime(&now);
  return {(uint64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime};
}

void RealSleepMs(uint32_t milliseconds) { ::Sleep(milliseconds); }

bool UtcToLocal(const CalendarTime& utc, CalendarTime* local) {
  FileTime checked;
  if (!CalendarToFileTime(utc, &checked)) return false;
  const auto word = [](int value) { return static_cast<WORD>(value); };
  const SYSTEMTIME from = {.wYear = word(utc.year),
                           .wMonth = word(utc.month),
                           .wDayOfWeek = 0,
                           .wDay = word(utc.day),
                           .wHour = word(utc.hour),
                           .wMinute = word(utc.minute),
                           .wSecond = word(utc.second),
                           .wMilliseconds = word(utc.millisecond)};
  SYSTEMTIME to;
  if (!::SystemTimeToTzSpecificLocalTime(nullptr, &from, &to)) return false;
  *local = {.year = to.wYear,
            .month = to.wMonth,
            .day = to.wDay,
            .hour = to.wHour,
            .minute = to.wMinute,
            .second = to.wSecond,
            .millisecond = to.wMilliseconds};
  return true;
}

}  // namespace zv
