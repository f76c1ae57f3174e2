#include "platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>

#include "platform/clock_testing.h"
#include "platform/thread.h"

namespace zv {
namespace {

using testing::VirtualClock;

TEST(CalendarTime, BeginsIn1601) {
  FileTime time{1};
  ASSERT_TRUE(CalendarToFileTime({.year = 1601, .month = 1, .day = 1}, &time));
  EXPECT_EQ(time.value, 0u);
  CalendarTime calendar;
  ASSERT_TRUE(FileTimeToCalendar({0}, &calendar));
  EXPECT_EQ(calendar, (CalendarTime{.year = 1601, .month = 1, .day = 1}));
}

TEST(CalendarTime, KnowsTheUnixEpoch) {
  FileTime time;
  ASSERT_TRUE(CalendarToFileTime({.year = 1970, .month = 1, .day = 1}, &time));
  EXPECT_EQ(time.value, 116'444'736'000'000'000u);
  EXPECT_EQ(ToSeconds(time).value, kUnixEpochSeconds1601);
  EXPECT_EQ(ToUnix(ToSeconds(time)), 0);
  EXPECT_EQ(FromUnix(0).value, kUnixEpochSeconds1601);
}

TEST(CalendarTime, KnowsTheMillisecond) {
  FileTime time;
  const CalendarTime calendar = {.year = 2026,
                                 .month = 11,
                                 .day = 15,
                                 .hour = 14,
                                 .minute = 3,
                                 .second = 9,
                                 .millisecond = 250};
  ASSERT_TRUE(CalendarToFileTime(calendar, &time));
  EXPECT_EQ(time.value, (1794751389u + 11644473600u) * 10'000'000 + 2'500'000);
}

TEST(CalendarTime, RoundTripsEveryDayOf900Years) {
  constexpr uint64_t kDay = 864'000'000'000;
  CalendarTime before = {.year = 1600, .month = 12, .day = 31};
  for (uint64_t day = 0; day < 900 * 366; ++day) {
    CalendarTime calendar;
    ASSERT_TRUE(FileTimeToCalendar({day * kDay + kDay - 1}, &calendar));
    ASSERT_EQ(calendar.hour, 23);
    ASSERT_EQ(calendar.millisecond, 999);
    const bool next_day = calendar.day == before.day + 1 && calendar.month == before.month;
    const bool next_month =
        calendar.day == 1 && before.day >= 28 && calendar.month == before.month % 12 + 1;
    ASSERT_TRUE(next_day || next_month) << day;
    FileTime back;
    ASSERT_TRUE(CalendarToFileTime(calendar, &back));
    ASSERT_EQ(back.value, day * kDay + kDay - 10'000);
    before = calendar;
  }
}

TEST(CalendarTime, KnowsLeapYears) {
  const auto valid = [](int year, int month, int day) {
    FileTime time;
    return CalendarToFileTime({.year = year, .month = month, .day = day}, &time);
  };
  EXPECT_TRUE(valid(2024, 2, 29));
  EXPECT_TRUE(valid(2000, 2, 29));
  EXPECT_FALSE(valid(1900, 2, 29));
  EXPECT_FALSE(valid(2023, 2, 29));
}

TEST(CalendarTime, RefusesWhatIsNoDate) {
  FileTime time{7};
  const CalendarTime good = {.year = 2026,
                             .month = 4,
                             .day = 30,
                             .hour = 23,
                             .minute = 59,
                             .second = 59,
                             .millisecond = 999};
  ASSERT_TRUE(CalendarToFileTime(good, &time));
  const auto refused = [&](auto change) {
    CalendarTime calendar = good;
    change(&calendar);
    return !CalendarToFileTime(calendar, &time);
  };
  EXPECT_TRUE(refused([](CalendarTime* t) { t->year = 1600; }));
  EXPECT_TRUE(refused([](CalendarTime* t) { t->year = 30828; }));
  EXPECT_TRUE(refused([](CalendarTime* t) { t->month = 0; }));
  EXPECT_TRUE(refused([](CalendarTime* t) { t->month = 13; }));
  EXPECT_TRUE(refused([](CalendarTime* t) { t->day = 0; }));
  EXPECT_TRUE(refused([](CalendarTime* t) { t->day = 31; }));
  EXPECT_TRUE(refused([](CalendarTime* t) { t->hour = 24; }));
  EXPECT_TRUE(refused([](CalendarTime* t) { t->minute = -1; }));
  EXPECT_TRUE(refused([](CalendarTime* t) { t->second = 60; }));
  EXPECT_TRUE(refused([](CalendarTime* t) { t->millisecond = 1000; }));
}

TEST(CalendarTime, RefusesFileTimesPast63Bits) {
  CalendarTime calendar;
  EXPECT_TRUE(FileTimeToCalendar({INT64_MAX}, &calendar));
  EXPECT_EQ(calendar.year, 30828);
  EXPECT_FALSE(FileTimeToCalendar({uint64_t{1} << 63}, &calendar));
}

TEST(FileTimeUnits, TruncateTowardZero) {
  EXPECT_EQ(ToSeconds({19'999'999}).value, 1);
  EXPECT_EQ(ToFileTime(Seconds1601{2}).value, 20'000'000u);
}

TEST(LocalTime, DiffersFromUtcByQuartersOfAnHour) {
  const CalendarTime utc = {.year = 2026,
                            .month = 7,
                            .day = 1,
                            .hour = 12,
                            .minute = 34,
                            .second = 56,
                            .millisecond = 789};
  CalendarTime local;
  ASSERT_TRUE(UtcToLocal(utc, &local));
  FileTime utc_time, local_time;
  ASSERT_TRUE(CalendarToFileTime(utc, &utc_time));
  ASSERT_TRUE(CalendarToFileTime(local, &local_time));
  const int64_t difference = ToSeconds(local_time).value - ToSeconds(utc_time).value;
  EXPECT_EQ(difference % 900, 0);
  EXPECT_LE(std::abs(difference), 14 * 3600);
  EXPECT_EQ(local.second, 56);
  EXPECT_EQ(local.millisecond, 789);
}

TEST(LocalTime, RefusesWhatIsNoDate) {
  CalendarTime local;
  EXPECT_FALSE(UtcToLocal({.year = 2026, .month = 2, .day = 30}, &local));
}

TEST(Clock, TellsTheTime) {
  const int64_t before = std::time(nullptr);
  const int64_t now = UnixTime();
  const int64_t system = ToUnix(ToSeconds(SystemTime()));
  const int64_t after = std::time(nullptr);
  // The clocks compared are kept with different coarseness.
  EXPECT_GE(now, before - 1);
  EXPECT_LE(now, after + 1);
  EXPECT_GE(system, before - 1);
  EXPECT_LE(system, after + 1);
}

TEST(Clock, SleepMsSleeps) {
  const uint64_t before = SystemTime().value;
  SleepMs(30);
  EXPECT_GE(SystemTime().value - before, 20u * 10'000);
}

TEST(VirtualClock, SleepsAtOnceAndMovesTheTimeOn) {
  std::vector<uint32_t> sleeps;
  const VirtualClock clock(FileTime{1'000'000}, [&](uint32_t ms) { sleeps.push_back(ms); });
  SleepMs(5000);
  SleepMs(1);
  EXPECT_EQ(sleeps, (std::vector<uint32_t>{5000, 1}));
  EXPECT_EQ(clock.slept_ms(), 5001u);
  EXPECT_EQ(SystemTime().value, 1'000'000u + 50'010'000u);
}

TEST(VirtualClock, StandsStillBetweenSleepsWhenStartedAtATime) {
  VirtualClock clock(ToFileTime(FromUnix(1'000)));
  EXPECT_EQ(UnixTime(), 1'000);
  clock.Advance(2'000);
  EXPECT_EQ(UnixTime(), 1'002);
  EXPECT_EQ(clock.slept_ms(), 0u);
}

TEST(VirtualClock, RunsWithTheRealOneWhenNotStartedAtATime) {
  const FileTime before = SystemTime();
  const VirtualClock clock;
  SleepMs(3'600'000);
  const uint64_t moved = SystemTime().value - before.value;
  EXPECT_GE(moved, 36'000'000'000u);
  EXPECT_LT(moved, 36'000'000'000u + 600'000'000u);
}

TEST(VirtualClock, LetsTheObserverAskForTheTime) {
  int64_t seen = 0;
  const VirtualClock clock(ToFileTime(FromUnix(10)), [&](uint32_t) { seen = UnixTime(); });
  SleepMs(5'000);
  EXPECT_EQ(seen, 15);
}

TEST(VirtualClock, EndsWithItsObject) {
  { const VirtualClock clock(FileTime{0}); }
  EXPECT_GT(UnixTime(), 1'700'000'000);
}

TEST(VirtualClock, CountsTheSleepsOfAllThreads) {
  const VirtualClock clock;
  std::vector<Thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.push_back(Thread::Start([] {
      for (int n = 0; n < 1000; ++n) SleepMs(2);
      return 0u;
    }));
  }
  WaitForAll(threads);
  EXPECT_EQ(clock.slept_ms(), 8000u);
}

}  // namespace
}  // namespace zv
