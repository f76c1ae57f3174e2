#include "platform/debug_output.h"

#include <gtest/gtest.h>

#include <vector>

namespace zv {
namespace {

TEST(DebugOutput, GoesToTheObserverUntilItEnds) {
  std::vector<Text> seen;
  testing::SetDebugOutputObserver([&](TextView text) { seen.emplace_back(text); });
  WriteDebugOutput(u"one\n");
  WriteDebugOutput(u"");
  testing::SetDebugOutputObserver({});
  WriteDebugOutput(u"after the end");
  EXPECT_EQ(seen, (std::vector<Text>{u"one\n", u""}));
}

}  // namespace
}  // namespace zv
