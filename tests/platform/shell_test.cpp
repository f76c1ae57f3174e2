// What the shell's door promises on every system: with nobody there, calls return and do no harm.
#include "platform/shell.h"

#include <gtest/gtest.h>

#include <chrono>

namespace zv {
namespace {

// Longer than the shell takes, and no wait: it is what a call that hangs is told by.
constexpr std::chrono::seconds kPatience(20);

template <typename Body>
std::chrono::steady_clock::duration TimeOf(Body body) {
  const auto start = std::chrono::steady_clock::now();
  body();
  return std::chrono::steady_clock::now() - start;
}

TEST(ShellTest, NotificationsDoNotHang) {
  EXPECT_LT(TimeOf([] {
              NotifyShellChange(kShellRenameItem, u"Y:\\a.txt", u"Y:\\b.txt");
              NotifyShellChange(kShellDeleteItem, u"Y:\\a.txt", {});
              NotifyShellChange(kShellUpdateItem, {}, {});
            }),
            kPatience);
}

TEST(ShellTest, AnyChangeIsToBeToldOf) {
  for (const uint32_t event : {kShellRenameItem, kShellCreateItem, kShellDeleteItem,
                               kShellMakeDirectory, kShellUpdateItem}) {
    EXPECT_TRUE(ShellHearsOf(event));
  }
}

TEST(ShellTest, ABroadcastDoesNotHang) {
  EXPECT_LT(TimeOf([] { BroadcastVolumeChange(0x8000, u'y'); }), kPatience);
}

TEST(ShellTest, AWindowThatIsNotThereIsNotFound) {
  EXPECT_EQ(FindTopWindow(u"ZVWorker tests: no window has this title"), 0u);
  EXPECT_EQ(FindChildWindow(0, u"ZVWorkerTestsNoSuchClass"), 0u);
}

TEST(ShellTest, NothingIsPostedToAWindowThatIsNotThere) {
  EXPECT_FALSE(PostWindowMessage(0x7FFFFFF0, 0x8013, 0, 0));
}

TEST(ShellTest, LocalAppDataIsAFullPathWithoutABackslashAtTheEnd) {
  const Text folder = LocalAppDataFolder();
  ASSERT_GT(folder.size(), 3u);
  EXPECT_EQ(folder.substr(1, 2), u":\\");
  EXPECT_NE(folder.back(), u'\\');
}

}  // namespace
}  // namespace zv
