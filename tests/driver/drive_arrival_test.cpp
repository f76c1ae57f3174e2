// What the system hears of a new drive: seen through the observer that takes the shell's place.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "driver/connection.h"
#include "platform/shell_observer.h"
#include "tests/support/driver_bench.h"
#include "tests/support/http_server.h"
#include "tests/support/test_home.h"

namespace zv::testing {
namespace {

using VolumeChange = std::pair<uint32_t, char16_t>;

class DriveArrivalTest : public HomeTest {
 protected:
  DriveArrivalTest() : bench_(DriverBench::Create()) {
    home_.SetAccount(server_.host(), u"old user", u"old password");
    server_.On([](const Request&) { return Reply::Status(200); });
    SetShellObserver({.on_volume = [this](uint32_t event, char16_t letter) {
      changes_.emplace_back(event, letter);
    }});
  }
  ~DriveArrivalTest() override { SetShellObserver({}); }

  uint32_t Create() {
    return connection_.CreateDrive(u"Y:", u"\\\\cirrux\\drive", u"password", u"jo");
  }

  HttpServer server_;
  std::unique_ptr<DriverBench> bench_;
  CConnection connection_;
  std::vector<VolumeChange> changes_;  // on this thread
};

TEST_F(DriveArrivalTest, OfANewDriveIsBroadcastOnceWithItsLetter) {
  ASSERT_EQ(Create(), kDriveSuccess);
  EXPECT_EQ(changes_, (std::vector<VolumeChange>{{0x8000, u'Y'}}));
}

TEST_F(DriveArrivalTest, IsNotBroadcastForADriveThatIsRefused) {
  bench_->RefuseCreateDrive(true);
  ASSERT_EQ(Create(), kDriveBadNetName);
  bench_->HideControlDevice(true);
  ASSERT_EQ(Create(), kDriveNoDriver);
  server_.On([](const Request&) { return Reply::Status(401); });
  ASSERT_EQ(Create(), 401u);
  EXPECT_TRUE(changes_.empty());
}

TEST_F(DriveArrivalTest, IsNotBroadcastWhenADriveGoes) {
  ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
  ASSERT_EQ(connection_.DeleteDrive(u"Y:"), kDriveSuccess);
  EXPECT_TRUE(changes_.empty());
}

}  // namespace
}  // namespace zv::testing
