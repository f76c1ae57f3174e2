#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "platform/error.h"
#include "platform/file.h"
#include "tests/platform/append_lines.h"
#include "tests/platform/child_process.h"
#include "tests/platform/test_folder.h"

namespace zv {
namespace {

using testing::ChildProcess;
using testing::TestFolder;

TEST(FileAppend, LosesNoLineOfTwoThreadsInTwoProcesses) {
  constexpr int kLinesOfAThread = 5000;
  const TestFolder folder;
  const Text path = folder / u"log.txt";
  const std::string home = folder.home().empty() ? "-" : folder.home().string();
  {
    ChildProcess child("core_child",
                       {"append", home, ToUtf8(path), "b", std::to_string(kLinesOfAThread)});
    testing::AppendLinesInTwoThreads(path, u'a', kLinesOfAThread);
    ASSERT_EQ(child.Wait(), 0);
  }
  std::istringstream lines(File::Open(path, Access::kRead, Disposition::kOpenExisting).ReadAll());
  std::set<std::string> seen;
  for (std::string line; std::getline(lines, line);) {
    ASSERT_TRUE(line.ends_with('\r')) << line;
    ASSERT_TRUE(seen.insert(line).second) << line;
  }
  EXPECT_EQ(seen.size(), 4u * kLinesOfAThread);
  EXPECT_TRUE(seen.contains("a1-0\r"));
  EXPECT_TRUE(seen.contains("b2-4999\r"));
}

TEST(FileAppend, GoesToTheEndWhereverThePositionIs) {
  const TestFolder folder;
  File file = File::Open(folder / u"a", Access::kReadWrite, Disposition::kCreateAlways);
  file.Write("0123456789");
  file.Seek(2);
  file.Append("AB");
  file.Write("C");
  file.Seek(0);
  EXPECT_EQ(file.ReadAll(), "0123456789ABC");
}

TEST(FileAppend, LeavesLaterWritesAtTheirPosition) {
  const TestFolder folder;
  File file = File::Open(folder / u"a", Access::kWrite, Disposition::kCreateAlways);
  file.Append("abcdef");
  file.Seek(1);
  file.Write("XY");
  file.Close();
  EXPECT_EQ(File::Open(folder / u"a", Access::kRead, Disposition::kOpenExisting).ReadAll(),
            "aXYdef");
}

TEST(FileAppend, FollowsACutByAnotherHandle) {
  const TestFolder folder;
  File first = File::Open(folder / u"a", Access::kReadWrite, Disposition::kCreateAlways);
  File second = File::Open(folder / u"a", Access::kReadWrite, Disposition::kOpenExisting);
  first.Append("long old contents");
  second.SetSize(2);
  first.Append("new");
  second.Seek(0);
  EXPECT_EQ(second.ReadAll(), "lonew");
}

TEST(FileAppend, NeedsTheRightToWrite) {
  const TestFolder folder;
  File::Open(folder / u"a", Access::kWrite, Disposition::kCreateAlways);
  File file = File::Open(folder / u"a", Access::kRead, Disposition::kOpenExisting);
  ASSERT_TRUE(file);
  EXPECT_THROW(file.Append("x"), Error);
}

}  // namespace
}  // namespace zv
