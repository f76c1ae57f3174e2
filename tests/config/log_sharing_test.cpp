#include <set>

#include "config/log.h"
#include "tests/config/log_lines.h"
#include "tests/platform/child_process.h"
#include "tests/support/test_home.h"

namespace zv {
namespace {

using SharedLog = testing::HomeTest;

TEST_F(SharedLog, LosesNoLineOfTwoThreadsInTwoProcesses) {
  // All of them stay below the size at which a log is emptied.
  constexpr int kLinesOfAThread = 5000;
  {
    testing::ChildProcess child("log_child", {"Shared.txt", std::to_string(2 * kLinesOfAThread),
                                              std::to_string(kLinesOfAThread)});
    testing::WriteLinesInTwoThreads(u"Shared.txt", 0, kLinesOfAThread);
    ASSERT_EQ(child.Wait(), 0);
  }
  const Text text = home_.LogText(u"Shared.txt");
  std::multiset<Text> lines;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find(u"\r\n", at);
    ASSERT_NE(end, Text::npos);
    lines.insert(text.substr(at, end - at));
    at = end + 2;
  }
  EXPECT_EQ(lines.size(), 4u * kLinesOfAThread);
  for (int number = 0; number < 4 * kLinesOfAThread; ++number) {
    ASSERT_EQ(lines.count(testing::ShortLine(number)), 1u) << number;
  }
}

TEST_F(SharedLog, EmptiedByManyThreadsKeepsTheNewestLine) {
  // Every writer meets the limit again and again; only lines of before a cut may be missing.
  constexpr int kLinesOfAThread = 2000;
  CLogEvent filler(u"Shared.txt");
  for (int round = 0; round < 3; ++round) {
    filler.WriteTraceText(Text(kLogSizeLimit / 2, u'x'));
    testing::WriteLinesInTwoThreads(u"Shared.txt", 0, kLinesOfAThread);
    const Text text = home_.LogText(u"Shared.txt");
    EXPECT_EQ(text.size(), 2u * kLinesOfAThread * 5) << "in units: three and a line end each";
  }
}

}  // namespace
}  // namespace zv
