// A change that the shell cannot be told of, for want of a thread to tell it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "driver/notify.h"
#include "platform/shell.h"
#include "platform/shell_observer.h"
#include "tests/driver/worker_fixture.h"
#include "tests/support/failing_memory.h"

namespace zv::testing {
namespace {

using ::testing::IsEmpty;

class NotifyStartTest : public HomeTest {
 protected:
  NotifyStartTest() { home_.SetAccount(u"127.42.255.254", kUser, u"secret"); }
};

// What a handler has still to do after it must not be left undone.
TEST_F(NotifyStartTest, ANotificationThatCannotBeStartedIsLoggedAndBreaksOffNothing) {
  const auto notify = [] { NotifyShell(kShellDeleteItem, u"Y:\\a"); };
  EXPECT_THAT(NeverLogged(home_, kPollLog, ThrowOtherError,
                          {u"Error in NotifyThreadProc, Reason:it is broken"}, notify),
              IsEmpty());
  EXPECT_THAT(
      NeverLogged(home_, kPollLog, ThrowAnything, {u"Exception in NotifyThreadProc!"}, notify),
      IsEmpty());
}

// A thread would be one, too.
TEST_F(NotifyStartTest, NothingIsMadeForAChangeThatTheObserverIgnores) {
  SetShellObserver(
      {.on_change = [](uint32_t, TextView, TextView) {}, .ignored_changes = kShellUpdateItem});
  {
    const FailingAllocation allocation(0, ThrowAnything);
    NotifyShell(kShellUpdateItem, u"Y:\\a");
    EXPECT_FALSE(allocation.happened());
  }
  {
    const FailingAllocation allocation(0, ThrowAnything);
    NotifyShell(kShellDeleteItem, u"Y:\\a");
    EXPECT_TRUE(allocation.happened());
  }
  SetShellObserver({});
}

}  // namespace
}  // namespace zv::testing
