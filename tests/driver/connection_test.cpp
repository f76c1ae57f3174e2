#include "driver/connection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>

#include "driver/drive_device.h"
#include "platform/debug_output.h"
#include "tests/support/driver_bench.h"
#include "tests/support/http_server.h"
#include "tests/support/test_home.h"

namespace zv::testing {
namespace {

constexpr TextView kRemoteName = u"\\\\cirrux\\drive";

class ConnectionTest : public HomeTest {
 protected:
  ConnectionTest() : bench_(DriverBench::Create()) {
    home_.SetAccount(server_.host(), u"old user", u"old password");
    AnswerLoginWith(200);
    SetDebugOutputObserver([this](TextView text) {
      const std::lock_guard lock(mutex_);
      said_.emplace_back(text);
    });
  }
  ~ConnectionTest() override { SetDebugOutputObserver({}); }

  void SetUp() override { ASSERT_NE(bench_, nullptr); }

  void AnswerLoginWith(int status) {
    server_.On([status](const Request&) { return Reply::Status(status); });
  }
  uint32_t Create(TextView remote_name = kRemoteName, TextView user = u"jo") {
    return connection_.CreateDrive(u"Y:", remote_name, u"pass:word", user);
  }
  bool HasSaid(TextView text) {
    const std::lock_guard lock(mutex_);
    return std::ranges::find(said_, text) != said_.end();
  }

  HttpServer server_;
  std::unique_ptr<DriverBench> bench_;
  CConnection connection_;
  std::mutex mutex_;
  std::vector<Text> said_;
};

TEST_F(ConnectionTest, LogsInAndAsksTheDriverForTheDrive) {
  EXPECT_EQ(Create(), kDriveSuccess);
  EXPECT_EQ(server_.lines(), std::vector<std::string>{"OPTIONS /users/jo/Files"});
  EXPECT_EQ(bench_->DriveName(), u"Y:");
  const ControlCall call = bench_->Calls().at(0);
  EXPECT_EQ(call.code, IOCTL_CREATE_DRIVE);
  EXPECT_EQ(call.output_length, 255u);
  const DosDeviceName name = MakeDosDeviceName(u"Y:");
  const auto bytes = std::as_bytes(std::span(name));
  EXPECT_EQ(call.input, std::vector(bytes.begin(), bytes.end()));
}

TEST_F(ConnectionTest, KeepsTheControlDeviceOpen) {
  EXPECT_EQ(Create(), kDriveSuccess);
  EXPECT_EQ(bench_->Use(BenchDevice::kControl).open_now, 1u);
}

TEST_F(ConnectionTest, StoresTheSettingsOfASuccessfulLogin) {
  EXPECT_EQ(Create(), kDriveSuccess);
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"UserName"), u"jo");
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"Password"), RaiseBy20(u"pass:word:jo"));
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"Local Name"), u"Y:");
}

TEST_F(ConnectionTest, TakesTheRemoteNameInAnyCase) {
  EXPECT_EQ(Create(u"\\\\CIRRUX\\DRIVE"), kDriveSuccess);
}

TEST_F(ConnectionTest, TakesTheRemoteNameOfTheSettings) {
  home_.SetSetting(kConnectionSubKey, u"Remote Name", u"\\\\our\\drive");
  EXPECT_EQ(Create(), kDriveBadNetName);
  EXPECT_EQ(Create(u"\\\\Our\\Drive"), kDriveSuccess);
  EXPECT_EQ(server_.request_count(), 1u);
}

TEST_F(ConnectionTest, TakesAnEmptyRemoteNameOfTheSettingsForNone) {
  home_.SetSetting(kConnectionSubKey, u"Remote Name", u"");
  EXPECT_EQ(Create(), kDriveSuccess);
}

TEST_F(ConnectionTest, RefusesAnotherRemoteNameBeforeItLooksAtTheUser) {
  EXPECT_EQ(Create(u"\\\\other\\drive", u""), kDriveBadNetName);
  EXPECT_FALSE(HasSaid(u"Username string is blank\n"));
  EXPECT_EQ(server_.request_count(), 0u);
}

TEST_F(ConnectionTest, RefusesABlankUserBeforeAnyTraffic) {
  EXPECT_EQ(Create(kRemoteName, u""), kDriveBadNetName);
  EXPECT_TRUE(HasSaid(u"Username string is blank\n"));
  EXPECT_EQ(Create(kRemoteName, u"(NULL)"), kDriveBadNetName);
  EXPECT_EQ(server_.request_count(), 0u);
}

TEST_F(ConnectionTest, GivesTheStatusOfAFailedLogin) {
  AnswerLoginWith(401);
  EXPECT_EQ(Create(), 401u);
  AnswerLoginWith(500);
  EXPECT_EQ(Create(), 500u);
  EXPECT_EQ(bench_->Use(BenchDevice::kControl).opens, 0u);
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"UserName"), u"old user");
}

TEST_F(ConnectionTest, TakesASilentServerForABadNetworkName) {
  server_.On([](const Request&) { return Reply::Drop(); });
  EXPECT_EQ(Create(), kDriveBadNetName);
  EXPECT_EQ(bench_->Use(BenchDevice::kControl).opens, 0u);
}

TEST_F(ConnectionTest, TellsThatThereIsNoDriver) {
  bench_->HideControlDevice(true);
  EXPECT_EQ(Create(), kDriveNoDriver);
  EXPECT_TRUE(HasSaid(u"Driver handle invalid\n"));
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"UserName"), u"jo");
}

TEST_F(ConnectionTest, ClosesTheControlDeviceWhenTheDriverRefuses) {
  bench_->RefuseCreateDrive(true);
  EXPECT_EQ(Create(), kDriveBadNetName);
  EXPECT_TRUE(HasSaid(u"Error creating the drive from fsd"));
  EXPECT_EQ(bench_->Use(BenchDevice::kControl).opens, 1u);
  EXPECT_EQ(bench_->Use(BenchDevice::kControl).open_now, 0u);
}

TEST_F(ConnectionTest, DeletesTheDrive) {
  ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
  EXPECT_EQ(connection_.DeleteDrive(u"Y:"), kDriveSuccess);
  EXPECT_EQ(bench_->DriveName(), u"");
  const ControlCall call = bench_->Calls().at(0);
  EXPECT_EQ(call.code, IOCTL_DELETE_DRIVE);
  EXPECT_EQ(call.input.size(), 520u);
  EXPECT_EQ(call.output_length, 0u);
}

TEST_F(ConnectionTest, CannotDeleteADriveThatIsNotThere) {
  EXPECT_EQ(connection_.DeleteDrive(u"Y:"), kDriveGeneralFailure);
  EXPECT_TRUE(HasSaid(u"Driver handle invalid\n"));
}

TEST_F(ConnectionTest, CannotDeleteADriveThatTheDriverKeeps) {
  ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
  bench_->RefuseDeleteDrive(true);
  EXPECT_EQ(connection_.DeleteDrive(u"Y:"), kDriveGeneralFailure);
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).open_now, 0u);
}

class GetConnectionTest : public ConnectionTest {
 protected:
  GetConnectionTest() {
    home_.SetSetting(kConnectionSubKey, u"Local Name", u"Y:");
    home_.SetSetting(kConnectionSubKey, u"UNC Server", u"srv");
    home_.SetSetting(kConnectionSubKey, u"UNC Share", u"share");
  }
};

TEST_F(GetConnectionTest, TakesTheLetterInAnyCase) {
  ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
  EXPECT_EQ(connection_.GetConnection(u"y:", nullptr, nullptr), kDriveSuccess);
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).opens, 1u);
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).open_now, 0u);
}

TEST_F(GetConnectionTest, OpensNothingForAnotherLetter) {
  ASSERT_TRUE(bench_->CreateDrive(u"X:"));
  EXPECT_EQ(connection_.GetConnection(u"X:", nullptr, nullptr), kDriveNoNetwork);
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).opens, 0u);
}

TEST_F(GetConnectionTest, IsNotConnectedWithoutTheDriveOrItsSetting) {
  EXPECT_EQ(connection_.GetConnection(u"Y:", nullptr, nullptr), kDriveNoNetwork);
  ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
  home_.RemoveSetting(kConnectionSubKey, u"Local Name");
  EXPECT_EQ(connection_.GetConnection(u"Y:", nullptr, nullptr), kDriveNoNetwork);
  EXPECT_EQ(bench_->Use(BenchDevice::kDrive).opens, 0u);
}

TEST_F(GetConnectionTest, TellsTheNetworkName) {
  ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
  std::array<char16_t, 32> buffer;
  buffer.fill(u'#');
  uint32_t length = buffer.size();
  EXPECT_EQ(connection_.GetConnection(u"Y:", buffer.data(), &length), kDriveSuccess);
  EXPECT_EQ(TextView(buffer.data()), u"\\\\srv\\share");
  EXPECT_EQ(length, buffer.size());
}

TEST_F(GetConnectionTest, KeepsToTheBuffersLength) {
  ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
  std::array<char16_t, 8> buffer;
  buffer.fill(u'#');
  uint32_t length = 6;
  EXPECT_EQ(connection_.GetConnection(u"Y:", buffer.data(), &length), kDriveSuccess);
  EXPECT_EQ(TextView(buffer.data(), 8), TextView(u"\\\\srv\0##", 8));
  EXPECT_EQ(length, 12u);
  length = 0;
  buffer.fill(u'#');
  EXPECT_EQ(connection_.GetConnection(u"Y:", buffer.data(), &length), kDriveSuccess);
  EXPECT_EQ(buffer[0], u'#');
}

}  // namespace
}  // namespace zv::testing
