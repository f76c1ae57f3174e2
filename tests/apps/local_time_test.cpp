#include "apps/zvdrive/local_time.h"

#include <gtest/gtest.h>

#include <ctime>
#include <limits>

namespace zv::testing {
namespace {

// Of a calendar time of this machine's zone, which a test cannot choose on every system.
Seconds1601 LocalInstant(int year, int month, int day, int hour, int minute, int second) {
  std::tm fields{};
  fields.tm_year = year - 1900;
  fields.tm_mon = month - 1;
  fields.tm_mday = day;
  fields.tm_hour = hour;
  fields.tm_min = minute;
  fields.tm_sec = second;
  fields.tm_isdst = -1;
  return FromUnix(std::mktime(&fields));
}

TEST(LocalTimeTest, ATimeIsWrittenInTheMachinesZone) {
  EXPECT_EQ(FormatTime(LocalInstant(2024, 2, 29, 7, 5, 9), TimeDetail::kSeconds),
            "2024-02-29 07:05:09");
}

TEST(LocalTimeTest, SecondsAreLeftOutAndNotRounded) {
  EXPECT_EQ(FormatTime(LocalInstant(2024, 2, 29, 23, 59, 59), TimeDetail::kMinutes),
            "2024-02-29 23:59");
}

TEST(LocalTimeTest, ATimeWithoutADateIsEmpty) {
  EXPECT_EQ(FormatTime({std::numeric_limits<int64_t>::max()}, TimeDetail::kSeconds), "");
}

}  // namespace
}  // namespace zv::testing
