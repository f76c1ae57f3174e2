#include "platform/clock.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "platform/clock_testing.h"
#include "platform/shared/clock_source.h"

namespace zv {
namespace {

constexpr int64_t kUnitsPerMillisecond = 10'000;
constexpr int64_t kSecondsPerDay = 86'400;
constexpr int kFirstYear = 1601;
constexpr int kLastYear = 30827;  // the last one that 63 bits of 100-nanosecond units hold
constexpr int64_t kDaysPerCycle = 146'097;  // 400 Gregorian years

bool IsLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysInMonth(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// Days from 1601-01-01 to the first of January of the year. 1601 begins a 400-year cycle.
int64_t DaysBeforeYear(int year) {
  const int64_t years = year - kFirstYear;
  return years * 365 + years / 4 - years / 100 + years / 400;
}

bool IsValid(const CalendarTime& time) {
  const auto in = [](int value, int low, int high) { return value >= low && value <= high; };
  return in(time.year, kFirstYear, kLastYear) && in(time.month, 1, 12) &&
         in(time.day, 1, DaysInMonth(time.year, time.month)) && in(time.hour, 0, 23) &&
         in(time.minute, 0, 59) && in(time.second, 0, 59) && in(time.millisecond, 0, 999);
}

struct VirtualState {
  std::mutex mutex;
  std::atomic<bool> active = false;
  bool has_start = false;
  FileTime start;
  uint64_t moved_ms = 0;
  uint64_t slept_ms = 0;
  std::function<void(uint32_t)> on_sleep;
};

VirtualState& State() {
  static VirtualState state;
  return state;
}

void BeginVirtual(bool has_start, FileTime start, std::function<void(uint32_t)> on_sleep) {
  VirtualState& state = State();
  const std::lock_guard lock(state.mutex);
  state.has_start = has_start;
  state.start = start;
  state.moved_ms = state.slept_ms = 0;
  state.on_sleep = std::move(on_sleep);
  state.active = true;
}

// False when no virtual clock lives. The observer is called without the lock, so that it may ask
// for the time.
bool SleepVirtually(uint32_t milliseconds) {
  VirtualState& state = State();
  if (!state.active) return false;
  std::function<void(uint32_t)> on_sleep;
  {
    const std::lock_guard lock(state.mutex);
    state.moved_ms += milliseconds;
    state.slept_ms += milliseconds;
    on_sleep = state.on_sleep;
  }
  if (on_sleep) on_sleep(milliseconds);
  return true;
}

}  // namespace

bool CalendarToFileTime(const CalendarTime& utc, FileTime* out) {
  if (!IsValid(utc)) return false;
  int64_t days = DaysBeforeYear(utc.year) + utc.day - 1;
  for (int month = 1; month < utc.month; ++month) days += DaysInMonth(utc.year, month);
  const int64_t seconds =
      days * kSecondsPerDay + (int64_t{utc.hour} * 60 + utc.minute) * 60 + utc.second;
  *out = {static_cast<uint64_t>(seconds * kFileTimeUnitsPerSecond +
                                utc.millisecond * kUnitsPerMillisecond)};
  return true;
}

bool FileTimeToCalendar(FileTime time, CalendarTime* utc) {
  if (time.value > INT64_MAX) return false;
  const auto units = static_cast<int64_t>(time.value);
  const int64_t seconds = units / kFileTimeUnitsPerSecond;
  const int64_t days = seconds / kSecondsPerDay;
  const int64_t second_of_day = seconds % kSecondsPerDay;

  // The mean length of a year leads to the right year or to one of its neighbours.
  int year = kFirstYear + static_cast<int>(days * 400 / kDaysPerCycle);
  if (DaysBeforeYear(year) > days) --year;
  if (DaysBeforeYear(year + 1) <= days) ++year;
  int64_t day = days - DaysBeforeYear(year);
  int month = 1;
  for (; day >= DaysInMonth(year, month); ++month) day -= DaysInMonth(year, month);

  *utc = {.year = year,
          .month = month,
          .day = static_cast<int>(day) + 1,
          .hour = static_cast<int>(second_of_day / 3600),
          .minute = static_cast<int>(second_of_day / 60 % 60),
          .second = static_cast<int>(second_of_day % 60),
          .millisecond = static_cast<int>(units % kFileTimeUnitsPerSecond / kUnitsPerMillisecond)};
  return true;
}

FileTime SystemTime() {
  VirtualState& state = State();
  if (!state.active) return RealSystemTime();
  const std::lock_guard lock(state.mutex);
  const FileTime base = state.has_start ? state.start : RealSystemTime();
  return {base.value + state.moved_ms * static_cast<uint64_t>(kUnitsPerMillisecond)};
}

int64_t UnixTime() { return ToUnix(ToSeconds(SystemTime())); }

void SleepMs(uint32_t milliseconds) {
  if (!SleepVirtually(milliseconds)) RealSleepMs(milliseconds);
}

namespace testing {

VirtualClock::VirtualClock(std::function<void(uint32_t)> on_sleep) {
  BeginVirtual(false, {}, std::move(on_sleep));
}

VirtualClock::VirtualClock(FileTime start, std::function<void(uint32_t)> on_sleep) {
  BeginVirtual(true, start, std::move(on_sleep));
}

VirtualClock::~VirtualClock() {
  VirtualState& state = State();
  const std::lock_guard lock(state.mutex);
  state.active = false;
  state.on_sleep = nullptr;
}

void VirtualClock::Advance(uint32_t milliseconds) {
  VirtualState& state = State();
  const std::lock_guard lock(state.mutex);
  state.moved_ms += milliseconds;
}

uint64_t VirtualClock::slept_ms() const {
  VirtualState& state = State();
  const std::lock_guard lock(state.mutex);
  return state.slept_ms;
}

}  // namespace testing
}  // namespace zv
