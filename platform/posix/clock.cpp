#include "platform/clock.h"

#include <time.h>

#include <cerrno>
#include <mutex>

#include "platform/shared/clock_source.h"

namespace zv {

FileTime RealSystemTime() {
  timespec now;
  ::clock_gettime(CLOCK_REALTIME, &now);
  const int64_t seconds = now.tv_sec + kUnixEpochSeconds1601;
  return {static_cast<uint64_t>(seconds * kFileTimeUnitsPerSecond + now.tv_nsec / 100)};
}

void RealSleepMs(uint32_t milliseconds) {
  timespec left = {.tv_sec = milliseconds / 1000,
                   .tv_nsec = static_cast<long>(milliseconds % 1000) * 1'000'000};
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

bool UtcToLocal(const CalendarTime& utc, CalendarTime* local) {
  FileTime time;
  if (!CalendarToFileTime(utc, &time)) return false;
  const time_t seconds = ToUnix(ToSeconds(time));
  // The library's own lock is out of ThreadSanitizer's sight.
  static std::mutex zone_mutex;
  const std::lock_guard lock(zone_mutex);
  ::tzset();  // the zone may have changed since the last time, and localtime_r does not look
  tm fields;
  if (!::localtime_r(&seconds, &fields)) return false;
  *local = {.year = fields.tm_year + 1900,
            .month = fields.tm_mon + 1,
            .day = fields.tm_mday,
            .hour = fields.tm_hour,
            .minute = fields.tm_min,
            .second = fields.tm_sec,
            .millisecond = utc.millisecond};
  return true;
}

}  // namespace zv
