#include "platform/shell_observer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <semaphore>
#include <thread>
#include <vector>

namespace zv {
namespace {

class ShellObserverTest : public ::testing::Test {
 protected:
  ~ShellObserverTest() override { SetShellObserver({}); }
};

TEST_F(ShellObserverTest, HearsOfChangesOnTheNotifyingThread) {
  struct Change {
    uint32_t event;
    Text first, second;
    std::thread::id thread;
  };
  std::vector<Change> changes;
  SetShellObserver({.on_change = [&](uint32_t event, TextView first, TextView second) {
    changes.push_back({event, Text(first), Text(second), std::this_thread::get_id()});
  }});
  NotifyShellChange(kShellRenameItem, u"Y:\\a", u"Y:\\b");
  NotifyShellChange(kShellMakeDirectory, u"Y:\\c", {});
  ASSERT_EQ(changes.size(), 2u);
  EXPECT_EQ(changes[0].event, 1u);
  EXPECT_EQ(changes[0].first, u"Y:\\a");
  EXPECT_EQ(changes[0].second, u"Y:\\b");
  EXPECT_EQ(changes[0].thread, std::this_thread::get_id());
  EXPECT_EQ(changes[1].event, 8u);
  EXPECT_EQ(changes[1].second, u"");
}

TEST_F(ShellObserverTest, StandsForTheWindows) {
  std::vector<uintptr_t> posted;
  SetShellObserver(
      {.find_top = [](TextView title) -> WindowHandle { return title == u"Drive" ? 7 : 0; },
       .find_child = [](WindowHandle parent, TextView name) -> WindowHandle {
         return parent == 7 && name == u"View" ? 8 : 0;
       },
       .on_post =
           [&](WindowHandle window, uint32_t message, uintptr_t first, uintptr_t second) {
             posted = {window, message, first, second};
           }});
  EXPECT_EQ(FindTopWindow(u"Drive"), 7u);
  EXPECT_EQ(FindTopWindow(u"Other"), 0u);
  EXPECT_EQ(FindChildWindow(7, u"View"), 8u);
  EXPECT_TRUE(PostWindowMessage(8, 0x8013, 1, 2));
  EXPECT_EQ(posted, (std::vector<uintptr_t>{8, 0x8013, 1, 2}));
}

TEST_F(ShellObserverTest, HearsOfVolumes) {
  std::vector<std::pair<uint32_t, char16_t>> volumes;
  SetShellObserver(
      {.on_volume = [&](uint32_t event, char16_t letter) { volumes.emplace_back(event, letter); }});
  BroadcastVolumeChange(0x8000, u'Y');
  EXPECT_EQ(volumes, (std::vector<std::pair<uint32_t, char16_t>>{{0x8000, u'Y'}}));
}

TEST_F(ShellObserverTest, MayTellTheShellItself) {
  int calls = 0;
  SetShellObserver({.on_change = [&](uint32_t event, TextView, TextView) {
    ++calls;
    if (event == kShellCreateItem) NotifyShellChange(kShellUpdateItem, {}, {});
  }});
  NotifyShellChange(kShellCreateItem, u"Y:\\a", {});
  EXPECT_EQ(calls, 2);
}

TEST_F(ShellObserverTest, ReplacingWaitsForCallsUnderWay) {
  std::binary_semaphore entered(0);
  std::atomic<bool> ended = false;
  SetShellObserver({.on_change = [&](uint32_t, TextView, TextView) {
    entered.release();
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    ended = true;
  }});
  std::thread notifier([] { NotifyShellChange(kShellUpdateItem, u"Y:\\", {}); });
  entered.acquire();
  SetShellObserver({});
  EXPECT_TRUE(ended);
  notifier.join();
}

TEST_F(ShellObserverTest, IsNotCalledForChangesThatItIgnores) {
  std::vector<uint32_t> events;
  SetShellObserver(
      {.on_change = [&](uint32_t event, TextView, TextView) { events.push_back(event); },
       .ignored_changes = kShellUpdateItem | kShellDeleteItem});
  for (const uint32_t event : {kShellUpdateItem, kShellCreateItem, kShellDeleteItem}) {
    EXPECT_EQ(ShellHearsOf(event), event == kShellCreateItem);
    NotifyShellChange(event, u"Y:\\a", {});
  }
  EXPECT_EQ(events, std::vector{kShellCreateItem});
}

TEST_F(ShellObserverTest, WithoutOneNothingIsHeardOrFound) {
  int calls = 0;
  SetShellObserver({.on_change = [&](uint32_t, TextView, TextView) { ++calls; },
                    .find_top = [](TextView) -> WindowHandle { return 7; }});
  SetShellObserver({});
  NotifyShellChange(kShellUpdateItem, u"Y:\\", {});
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(FindTopWindow(u"Drive"), 0u);
}

}  // namespace
}  // namespace zv
