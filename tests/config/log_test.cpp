#include "config/log.h"

#include <gmock/gmock.h>

#include "config/folders.h"
#include "platform/clock.h"
#include "platform/clock_testing.h"
#include "platform/error.h"
#include "platform/file.h"
#include "tests/support/test_home.h"

namespace zv {
namespace {

using ::testing::HasSubstr;
using testing::ReadFileBytes;
using testing::WriteFileBytes;

constexpr std::string_view kMark = "\xFF\xFE";

class Log : public testing::HomeTest {
 protected:
  std::string Bytes() const { return ReadFileBytes(path_).value_or("no file"); }
  static std::string Utf16(TextView text) { return ToUtf16LeBytes(text); }

  const Text path_ = home_.LogFolder() + u"Test.txt";
};

FileTime TimeOf(const CalendarTime& utc) {
  FileTime time;
  EXPECT_TRUE(CalendarToFileTime(utc, &time));
  return time;
}

// The prefix's time, by the machine's own zone.
Text LocalStamp(int64_t unix_time) { return FormatLogTime(unix_time); }

TEST_F(Log, LiesInTheUsersFolder) {
  EXPECT_EQ(CLogEvent(u"Test.txt").path(), GetAppDataFolder() + u"\\Log\\Test.txt");
}

TEST_F(Log, IsNotOpenedBeforeItsFirstLine) {
  CLogEvent log(u"Test.txt");
  EXPECT_FALSE(log.opened());
  EXPECT_FALSE(FileExists(path_));
}

TEST_F(Log, NewFileIsTheMarkAndTheFirstLine) {
  CLogEvent log(u"Test.txt");
  log.WriteTraceText(u"a\u00E9");
  EXPECT_EQ(Bytes(), std::string("\xFF\xFE"
                                 "a\0\xE9\0\r\0\n\0",
                                 10));
  EXPECT_TRUE(log.opened());
}

TEST_F(Log, MakesItsFolderWhenMissing) {
  ASSERT_FALSE(FileExists(home_.LogFolder()));
  CLogEvent(u"Test.txt").WriteTraceText(u"x");
  EXPECT_TRUE(FileExists(path_));
}

TEST_F(Log, LinesFollowEachOther) {
  CLogEvent log(u"Test.txt");
  CLogEvent other(u"Test.txt");
  log.WriteTrace(u"%s has %d parts, %I64d bytes", u"it", 3, int64_t{5000000000});
  other.WriteTraceText(u"second");
  EXPECT_EQ(home_.LogText(u"Test.txt"), u"it has 3 parts, 5000000000 bytes\r\nsecond\r\n");
}

TEST_F(Log, ReadyTextIsNoFormat) {
  CLogEvent(u"Test.txt").WriteTraceText(u"100%d %s");
  EXPECT_EQ(home_.LogText(u"Test.txt"), u"100%d %s\r\n");
}

TEST_F(Log, MessageIsAFormat) {
  CLogEvent(u"Test.txt").WriteTrace(u"%d%% of %s", 40, u"50%s");
  EXPECT_EQ(home_.LogText(u"Test.txt"), u"40% of 50%s\r\n");
}

TEST_F(Log, LevelLineCarriesNameAndLocalTime) {
  const FileTime start = TimeOf({2026, 11, 15, 14, 3, 9});
  const testing::VirtualClock clock(start);
  const Text stamp = LocalStamp(ToUnix(ToSeconds(start)));
  CLogEvent log(u"Test.txt");
  log.WriteLog(LogLevel::kInformation, u"A directory has been created for %s.", u"/Docs");
  log.WriteLog(LogLevel::kWarning, u"w");
  log.WriteLog(LogLevel::kError, u"e");
  EXPECT_EQ(home_.LogText(u"Test.txt"),
            u"Information : " + stamp + u" : A directory has been created for /Docs.\r\n" +
                u"Warning     : " + stamp + u" : w\r\n" +  //
                u"Error       : " + stamp + u" : e\r\n");
}

TEST_F(Log, UnknownLevelHasNoPrefix) {
  CLogEvent log(u"Test.txt");
  log.WriteLogLine(5, u"five", {});
  log.WriteLogLine(-1, u"minus", {});
  EXPECT_EQ(home_.LogText(u"Test.txt"), u"five\r\nminus\r\n");
}

TEST_F(Log, FileOf204800BytesIsEmptiedBeforeTheLine) {
  WriteFileBytes(path_, std::string(kMark) + std::string(204798, 'x'));
  CLogEvent(u"Test.txt").WriteTraceText(u"new");
  EXPECT_EQ(Bytes(), std::string(kMark) + Utf16(u"new\r\n"));
}

TEST_F(Log, FileOf204798BytesGrowsPastTheLimit) {
  const std::string old = std::string(kMark) + std::string(204796, 'x');
  WriteFileBytes(path_, old);
  CLogEvent(u"Test.txt").WriteTraceText(u"new");
  EXPECT_EQ(Bytes(), old + Utf16(u"new\r\n"));
}

TEST_F(Log, LargerFileIsEmptiedForALevelLineToo) {
  WriteFileBytes(path_, std::string(kMark) + std::string(300000, 'x'));
  CLogEvent(u"Test.txt").WriteLogLine(9, u"new", {});
  EXPECT_EQ(Bytes(), std::string(kMark) + Utf16(u"new\r\n"));
}

TEST_F(Log, MarkIsWrittenAnewWithEveryLine) {
  WriteFileBytes(path_, "xxabcd");
  CLogEvent(u"Test.txt").WriteTraceText(u"n");
  EXPECT_EQ(Bytes(), std::string(kMark) + "abcd" + Utf16(u"n\r\n"));
}

TEST_F(Log, EmptyFileGetsTheMarkFirst) {
  WriteFileBytes(path_, "");
  CLogEvent(u"Test.txt").WriteTraceText(u"n");
  EXPECT_EQ(Bytes(), std::string(kMark) + Utf16(u"n\r\n"));
}

TEST_F(Log, LineThatCannotBeWrittenIsLostSilently) {
  MakeFolders(path_);  // a folder stands where the file should be
  CLogEvent log(u"Test.txt");
  log.WriteLog(LogLevel::kError, u"lost");
  log.WriteTrace(u"lost");
  log.WriteTraceText(u"lost");
  EXPECT_FALSE(log.opened());
}

TEST_F(Log, LeavesTheLastErrorAlone) {
  CLogEvent log(u"Test.txt");
  SetLastError(kErrorDiskFull);
  log.WriteTraceText(u"first, which makes the folder");
  EXPECT_EQ(LastError(), kErrorDiskFull);
  log.WriteLog(LogLevel::kError, u"second");
  EXPECT_EQ(LastError(), kErrorDiskFull);
}

TEST_F(Log, FileIsClosedBetweenLines) {
  CLogEvent log(u"Test.txt");
  log.WriteTraceText(u"one");
  EXPECT_TRUE(MoveToNew(path_, path_ + u".old"));
  log.WriteTraceText(u"two");
  EXPECT_EQ(home_.LogText(u"Test.txt"), u"two\r\n");
}

TEST_F(Log, FolderIsFixedByTheFirstLog) {
  const Text first = CLogEvent(u"a").path();
  testing::ForgetLogFolder();
  EXPECT_EQ(CLogEvent(u"a").path(), first);
}

TEST(LogTime, IsMonthDayYearAndTheTimeOfDay) {
  const int64_t time = ToUnix(ToSeconds(TimeOf({2026, 1, 2, 3, 4, 5})));
  CalendarTime local;
  ASSERT_TRUE(UtcToLocal({2026, 1, 2, 3, 4, 5}, &local));
  EXPECT_EQ(FormatLogTime(time), Format(u"%02d/%02d/%04d %02d:%02d:%02d", local.month, local.day,
                                        local.year, local.hour, local.minute, local.second));
  EXPECT_EQ(FormatLogTime(time).size(), 19u);
}

TEST(LogTime, ThatCannotBeConvertedShowsIt) {
  constexpr TextView kNoTime = u"00/00/0000 -1:-1:-1";
  EXPECT_EQ(FormatLogTime(INT64_MAX), kNoTime);
  EXPECT_EQ(FormatLogTime(INT64_MIN), kNoTime);
  EXPECT_EQ(FormatLogTime(-kUnixEpochSeconds1601 - 1), kNoTime);
}

}  // namespace
}  // namespace zv
