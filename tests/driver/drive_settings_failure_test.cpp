// Settings of a new drive that cannot be written, wherever the writing breaks off.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <list>
#include <set>
#include <vector>

#include "driver/connection.h"
#include "platform/clock_testing.h"
#include "platform/shell_observer.h"
#include "tests/support/driver_bench.h"
#include "tests/support/failing_memory.h"
#include "tests/support/http_server.h"

namespace zv::testing {
namespace {

class DriveSettingsFailureTest : public HomeTest {
 protected:
  DriveSettingsFailureTest() : bench_(DriverBench::Create()) {
    server_.On([](const Request&) { return Reply::Status(200); });
    // Whoever hears of the new drive needs memory, too.
    SetShellObserver({.on_volume = [this](uint32_t event, char16_t) { heard_.push_back(event); }});
  }
  ~DriveSettingsFailureTest() override { SetShellObserver({}); }

  void SetOldSettings() {
    home_.SetAccount(server_.host(), u"old", u"old password");
    home_.SetSetting(kConnectionSubKey, u"Local Name", u"X:");
    bench_->RemoveDrive();
  }
  uint32_t Create() {
    return connection_.CreateDrive(u"Y:", u"\\\\cirrux\\drive", u"password", u"jo");
  }
  // In the order in which they are to be written.
  std::vector<bool> New() const {
    return {home_.Setting(kConnectionSubKey, u"UserName") == u"jo",
            home_.Setting(kConnectionSubKey, u"Password") == RaiseBy20(u"password:jo"),
            home_.Setting(kConnectionSubKey, u"Local Name") == u"Y:"};
  }

  HttpServer server_;
  std::unique_ptr<DriverBench> bench_;
  CConnection connection_;
  const VirtualClock clock_;
  std::list<uint32_t> heard_;
};

TEST_F(DriveSettingsFailureTest, EndsTheCreationAndNoLaterOneIsWritten) {
  std::set<std::vector<bool>> written;
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    // Each failing one begins in the state that a whole one leaves.
    SetOldSettings();
    ASSERT_EQ(Create(), kDriveSuccess);
    SetOldSettings();
    uint32_t result = 0;
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      result = Create();
      happened = failing.happened();
    }
    const std::vector<bool> is_new = New();
    ASSERT_TRUE(std::is_sorted(is_new.begin(), is_new.end(), std::greater())) << number;
    if (is_new.back()) {
      // The answer says whether the drive is there.
      const bool is_there = connection_.GetConnection(u"Y:", nullptr, nullptr) == kDriveSuccess;
      ASSERT_EQ(result == kDriveSuccess, is_there) << number;
      continue;
    }
    ASSERT_EQ(result, kDriveBadNetName) << number;
    ASSERT_EQ(bench_->DriveName(), u"") << number;
    written.insert(is_new);
  }
  EXPECT_EQ(written, (std::set<std::vector<bool>>{
                         {false, false, false}, {true, false, false}, {true, true, false}}));
}

}  // namespace
}  // namespace zv::testing
