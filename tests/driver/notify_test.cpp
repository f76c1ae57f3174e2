// What the shell hears of: seen through the observer that takes its place.
#include "driver/notify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "platform/clock_testing.h"
#include "platform/error.h"
#include "platform/shell_observer.h"
#include "tests/driver/worker_fixture.h"

namespace zv::testing {
namespace {

struct Change {
  uint32_t event = 0;
  Text first;
  Text second;
  bool operator==(const Change&) const = default;
};

class ShellRecorder {
 public:
  ShellRecorder() {
    ShellObserver observer;
    observer.on_change = [this](uint32_t event, TextView first, TextView second) {
      const std::lock_guard lock(mutex_);
      changes_.push_back({event, Text(first), Text(second)});
      heard_.notify_all();
    };
    SetShellObserver(std::move(observer));
  }
  ~ShellRecorder() { SetShellObserver({}); }

  // The changes heard, once there are so many.
  std::vector<Change> WaitFor(size_t count) {
    std::unique_lock lock(mutex_);
    heard_.wait_for(lock, DriverBench::kPatience, [&] { return changes_.size() >= count; });
    return changes_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable heard_;
  std::vector<Change> changes_;
};

TEST(NotifyShellTest, PassesTwoPathsForARenameOnly) {
  ShellRecorder shell;
  NotifyShell(kShellRenameItem, u"Y:\\a", u"Y:\\b");
  EXPECT_EQ(shell.WaitFor(1), std::vector{(Change{kShellRenameItem, u"Y:\\a", u"Y:\\b"})});
  NotifyShell(kShellDeleteItem, u"Y:\\a", u"Y:\\b");
  EXPECT_EQ(shell.WaitFor(2)[1], (Change{kShellDeleteItem, u"Y:\\a", u""}));
}

TEST(NotifyShellTest, CutsPathsAtTheirFields) {
  ShellRecorder shell;
  NotifyShell(kShellRenameItem, Text(300, u'a'), Text(300, u'b'));
  const Change change = shell.WaitFor(1)[0];
  EXPECT_EQ(change.first, Text(259, u'a'));
  EXPECT_EQ(change.second, Text(259, u'b'));
}

class NotifyFailureTest : public HomeTest {
 protected:
  template <typename Failure>
  uint32_t NotifyWhileTheShellThrows(Failure failure) {
    ShellObserver observer;
    observer.on_change = [failure](uint32_t, TextView, TextView) { throw failure; };
    SetShellObserver(std::move(observer));
    NotificationRecord record;
    const uint32_t result = NotifyThreadProc(record);
    SetShellObserver({});
    return result;
  }
};

TEST_F(NotifyFailureTest, LogsAFailureWithItsReason) {
  EXPECT_EQ(NotifyWhileTheShellThrows(Error(ErrorKind::kOther, 1, u"the shell is busy")), 0u);
  EXPECT_TRUE(home_.LogHasLine(kPollLog, u"Error in NotifyThreadProc, Reason:the shell is busy"));
}

TEST_F(NotifyFailureTest, LogsAnyOtherFailure) {
  EXPECT_EQ(NotifyWhileTheShellThrows(42), 0u);
  EXPECT_TRUE(home_.LogHasLine(kPollLog, u"Exception in NotifyThreadProc!"));
}

class WorkerNotifyTest : public WorkerTest {
 protected:
  void SetUp() override {
    StartWorker();
    ServeMemoryAccount();
  }
  VirtualClock clock_;  // retry pauses pass at once
  ShellRecorder shell_;
};

TEST_F(WorkerNotifyTest, TellsOfANewFolder) {
  AskTransfer(MakeBackup(MinorCode::kCreateDirectory, u"\\new"));
  EXPECT_EQ(shell_.WaitFor(1), std::vector{(Change{kShellMakeDirectory, u"Y:\\new", u""})});
}

TEST_F(WorkerNotifyTest, TellsOfNoFolderThatCouldNotBeMade) {
  server_.Enqueue(Reply::Status(403));
  AskTransfer(MakeBackup(MinorCode::kCreateDirectory, u"\\refused"));
  AskTransfer(MakeBackup(MinorCode::kCreateDirectory, u"\\made"));
  EXPECT_EQ(shell_.WaitFor(1), std::vector{(Change{kShellMakeDirectory, u"Y:\\made", u""})});
}

TEST_F(WorkerNotifyTest, TellsOfADeletionThatSucceeded) {
  EXPECT_EQ(ReplyAs<StatusWord>(AskInfo(MakeRequest(MajorCode::kDelete, u"\\missing"))),
            kNamespaceFailure);
  account_.Store("/users/user/Files/a", "content");
  AskInfo(MakeRequest(MajorCode::kDelete, u"\\a"));
  EXPECT_EQ(shell_.WaitFor(1), std::vector{(Change{kShellDeleteItem, u"Y:\\a", u""})});
}

TEST_F(WorkerNotifyTest, TellsOfARename) {
  EXPECT_EQ(AskRename(u"\\missing", u"\\??\\Y:\\x"), kNamespaceFailure);
  account_.Store("/users/user/Files/x/a", "content");
  AskRename(u"\\x\\a", u"\\??\\Y:\\x\\b");
  EXPECT_EQ(shell_.WaitFor(1), std::vector{(Change{kShellRenameItem, u"Y:\\x\\a", u"Y:\\x\\b"})});
}

// The deletion that a replacing rename brings with it is told of under the old name.
TEST_F(WorkerNotifyTest, TellsOfAReplacedTarget) {
  account_.Store("/users/user/Files/a", "new");
  account_.Store("/users/user/Files/b", "old");
  AskRename(u"\\a", u"\\??\\Y:\\b", 61);
  const std::vector<Change> changes = shell_.WaitFor(2);
  EXPECT_THAT(changes,
              ::testing::UnorderedElementsAre(Change{kShellDeleteItem, u"Y:\\a", u""},
                                              Change{kShellRenameItem, u"Y:\\a", u"Y:\\b"}));
}

TEST_F(WorkerNotifyTest, TellsOfNoTargetThatCouldNotBeReplaced) {
  account_.Store("/users/user/Files/c", "content");
  for (const int status : {412, 423, 412}) server_.Enqueue(Reply::Status(status));
  EXPECT_EQ(AskRename(u"\\a", u"\\??\\Y:\\b", 61), kNamespaceTargetExists);
  AskInfo(MakeRequest(MajorCode::kDelete, u"\\c"));
  EXPECT_EQ(shell_.WaitFor(1), std::vector{(Change{kShellDeleteItem, u"Y:\\c", u""})});
}

TEST_F(WorkerNotifyTest, TellsOfTheDeletionAloneWhenTheRenameAfterItFails) {
  WriteListing(u"/", {u"a?0?3?32?100?200", u"b?0?3?32?100?200"});
  account_.Store("/users/user/Files/c", "content");
  for (const int status : {412, 204, 500}) server_.Enqueue(Reply::Status(status));
  EXPECT_EQ(AskRename(u"\\a", u"\\??\\Y:\\b", 61), kNamespaceFailure);
  AskInfo(MakeRequest(MajorCode::kDelete, u"\\c"));
  EXPECT_THAT(shell_.WaitFor(2),
              ::testing::UnorderedElementsAre(Change{kShellDeleteItem, u"Y:\\a", u""},
                                              Change{kShellDeleteItem, u"Y:\\c", u""}));
}

TEST_F(WorkerNotifyTest, TellsOfNoEmptyFileThatCouldNotBeSent) {
  server_.On([this](const Request& request) {
    return request.target.ends_with("refused") ? Reply::Status(507) : account_(request);
  });
  AskTransfer(MakeBackup(MinorCode::kZeroBackup, u"\\refused"));
  AskTransfer(MakeBackup(MinorCode::kZeroBackup, u"\\sent"));
  EXPECT_EQ(shell_.WaitFor(1), std::vector{(Change{kShellCreateItem, u"Y:\\sent", u""})});
}

TEST_F(WorkerNotifyTest, TellsOfAnEmptyFileThatWasSent) {
  AskTransfer(MakeBackup(MinorCode::kZeroBackup, u"\\a.txt"));
  EXPECT_EQ(shell_.WaitFor(1), std::vector{(Change{kShellCreateItem, u"Y:\\a.txt", u""})});
}

TEST_F(WorkerNotifyTest, TellsOfAFileThatIsComplete) {
  AskBlock(u"\\a.txt", "content");
  AskTransfer(MakeBackup(MinorCode::kBackupComplete, u"\\a.txt"));
  EXPECT_EQ(shell_.WaitFor(1), std::vector{(Change{kShellUpdateItem, u"Y:\\a.txt", u""})});
}

// A shell with the sync client's window, with or without its view.
class ShellViewTest : public WorkerTest {
 protected:
  static constexpr WindowHandle kParent = 11;
  static constexpr WindowHandle kView = 22;

  void SaveWith(WindowHandle view) {
    ShellObserver observer;
    observer.find_top = [](TextView title) {
      return title == u"Stratel Drive (Y:)" ? kParent : WindowHandle{};
    };
    observer.find_child = [view](WindowHandle parent, TextView class_name) {
      return parent == kParent && class_name == u"ZVSHELLVIEWClass" ? view : WindowHandle{};
    };
    observer.on_post = [this](WindowHandle window, uint32_t message, uintptr_t a, uintptr_t b) {
      posted_.push_back({window, message, a, b});
    };
    SetShellObserver(std::move(observer));
    StartWorker({.check_freshness = false, .account_type = u"ZVSYNC"});
    WriteListing(u"/", {u"a.tmp?0?7?32?100?200"});
    AskRename(u"\\a.tmp", u"\\??\\Y:\\b.txt");
    StopWorker();
    SetShellObserver({});
  }

  std::vector<std::vector<uintptr_t>> posted_;
};

TEST_F(ShellViewTest, IsToldToRefreshAfterASave) {
  SaveWith(kView);
  EXPECT_EQ(posted_, (std::vector<std::vector<uintptr_t>>{{kView, 0x8013, 0, 0}}));
  EXPECT_TRUE(PollLogHas(u"Sending message to shellview to refresh view"));
}

TEST_F(ShellViewTest, MayBeMissingInItsWindow) {
  SaveWith(0);
  EXPECT_TRUE(posted_.empty());
  EXPECT_TRUE(PollLogHas(u"Could not find child window"));
}

}  // namespace
}  // namespace zv::testing
