// Failures within handlers and loops, made by a driver that throws where the device door is called.
#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <functional>

#include "driver/connection.h"
#include "driver/event_polling.h"
#include "platform/debug_output.h"
#include "platform/device_driver.h"
#include "platform/error.h"
#include "tests/driver/worker_fixture.h"

namespace zv::testing {
namespace {

// Hands out a list of records, then the end code; every reply, and a fetch when told, throws.
class ThrowingDriver : public DeviceDriver {
 public:
  using Throw = std::function<void()>;

  ThrowingDriver(std::vector<RequestRecord> records, Throw on_fetch, Throw on_reply)
      : records_(records.begin(), records.end()),
        on_fetch_(std::move(on_fetch)),
        on_reply_(std::move(on_reply)) {}

  uint32_t OpenDevice(uint64_t) override {
    ++open_now_;
    return 0;
  }
  void CloseDevice(uint64_t) override { --open_now_; }

  uint32_t ControlDevice(uint64_t, uint32_t code, const void*, uint32_t, void* out, uint32_t,
                         uint32_t*) override {
    if (code != IOCTL_GET_INFO_REQUEST && code != IOCTL_GET_TRANSFER_REQUEST) {
      on_reply_();
      return 0;
    }
    if (on_fetch_) on_fetch_();
    RequestRecord record;
    record.major = static_cast<uint32_t>(MajorCode::kEndPolling);
    if (!records_.empty()) {
      record = records_.front();
      records_.pop_front();
    }
    std::copy_n(reinterpret_cast<const std::byte*>(&record), sizeof record,
                static_cast<std::byte*>(out));
    return 0;
  }

  int open_now() const { return open_now_; }

 private:
  std::deque<RequestRecord> records_;
  const Throw on_fetch_;
  const Throw on_reply_;
  std::atomic<int> open_now_ = 0;
};

void ThrowKnown() { throw Error(ErrorKind::kFile, 5, u"the line is cut"); }
void ThrowUnknown() { throw 42; }

class FailureTest : public HomeTest {
 protected:
  FailureTest() {
    home_.SetAccount(server_.host(), kUser, u"secret", {.check_freshness = false});
    home_.SetSetting(kConnectionSubKey, u"Local Name", u"W:");
  }
  ~FailureTest() override { UnregisterDeviceDriver(u"W:"); }

  void Register(std::vector<RequestRecord> records, ThrowingDriver::Throw on_fetch,
                ThrowingDriver::Throw on_reply) {
    driver_ = std::make_shared<ThrowingDriver>(std::move(records), std::move(on_fetch),
                                               std::move(on_reply));
    RegisterDeviceDriver(u"W:", driver_);
  }

  // Serves one request whose reply throws.
  void Serve(const RequestRecord& request, ThrowingDriver::Throw on_reply) {
    Register({request}, {}, std::move(on_reply));
    CEventPolling polling;
    if (request.major == static_cast<uint32_t>(MajorCode::kBackup) ||
        request.major == static_cast<uint32_t>(MajorCode::kRestore)) {
      polling.TransferPolling();
    } else {
      polling.InfoPolling();
    }
  }

  void ExpectLines(const RequestRecord& request, TextView known, TextView unknown) {
    Serve(request, ThrowKnown);
    EXPECT_TRUE(home_.LogHasLine(kPollLog, known));
    Serve(request, ThrowUnknown);
    EXPECT_TRUE(home_.LogHasLine(kPollLog, unknown));
    EXPECT_EQ(driver_->open_now(), 0);
  }

  HttpServer server_;
  std::shared_ptr<ThrowingDriver> driver_;
};

TEST_F(FailureTest, OfADirectoryRequestIsLogged) {
  ExpectLines(MakeRequest(MajorCode::kDirectory, u"\\a", 1),
              u"Error processing directory request of \\a, Reason: the line is cut",
              u"Exception while processing dir request!");
}

TEST_F(FailureTest, OfAQueryIsLogged) {
  ExpectLines(MakeRequest(MajorCode::kQueryInfo, u"\\a"),
              u"Error processing query info on \\a, Reason: the line is cut",
              u"Exception while restoring file!");
}

TEST_F(FailureTest, OfAVolumeRequestIsLogged) {
  ExpectLines(MakeRequest(MajorCode::kVolumeInfo, u"\\a"),
              u"Error processing volume request , Reason: the line is cut",
              u"Exception while getting volume information!");
}

TEST_F(FailureTest, OfMakingAFolderIsLogged) {
  ExpectLines(MakeBackup(MinorCode::kCreateDirectory, u"\\a"),
              u"Error creating directory \\a, Reason: the line is cut",
              u"Exception while creating directory!");
}

TEST_F(FailureTest, OfADeletionIsLogged) {
  ExpectLines(MakeRequest(MajorCode::kDelete, u"\\a"),
              u"Error processing deletion of \\a, Reason: the line is cut",
              u"Exception while deleting file!");
}

TEST_F(FailureTest, OfARenameIsLogged) {
  ExpectLines(MakeRequest(MajorCode::kRename, u"\\a"),
              u"Error processing file rename of \\a, Reason: the line is cut",
              u"Exception while renaming file!");
}

TEST_F(FailureTest, OfARestoreIsLogged) {
  ExpectLines(MakeRequest(MajorCode::kRestore, u"\\a", 1),
              u"Error processing cached file restore of \\a, Reason: the line is cut",
              u"Exception while restoring cached file!");
}

TEST_F(FailureTest, OfABlockIsLogged) {
  ExpectLines(MakeBackup(MinorCode::kCacheBackup, u"\\a"),
              u"Error processing cache file back up of \\a, Reason: the line is cut",
              u"Exception while cache-backing up file!");
}

TEST_F(FailureTest, OfAnEmptyFileIsLoggedAsABlocks) {
  ExpectLines(MakeBackup(MinorCode::kZeroBackup, u"\\a"),
              u"Error processing cache file back up of \\a, Reason: the line is cut",
              u"Exception while cache-backing up file!");
}

TEST_F(FailureTest, OfACompletionIsLogged) {
  ExpectLines(MakeBackup(MinorCode::kBackupComplete, u"\\a"),
              u"Error processing file back up of \\a, Reason: the line is cut",
              u"Exception while backing up file!");
}

TEST_F(FailureTest, OfTheLoopsOwnStepsEndsItWithItsWords) {
  Register({}, ThrowKnown, {});
  CEventPolling().InfoPolling();
  EXPECT_TRUE(home_.LogHasLine(kPollLog, u"the line is cut"));
  EXPECT_FALSE(home_.LogHasLine(kPollLog, u"End Info. polling"));
}

TEST_F(FailureTest, OfTheLoopsOwnStepsLeavesTheDriveOpen) {
  Register({}, ThrowKnown, {});
  CEventPolling().TransferPolling();
  EXPECT_EQ(driver_->open_now(), 1);
}

TEST_F(FailureTest, OfUnknownKindEndsALoopWithTheSystemsWords) {
  const auto fail = [] {
    SetLastError(kErrorFileNotFound);
    throw 42;
  };
  const Text reason = SystemErrorText(kErrorFileNotFound);
  Register({}, fail, {});
  CEventPolling().InfoPolling();
  EXPECT_TRUE(home_.LogHasLine(kPollLog, u"Exception while Info. polling, Reason : " + reason));
  CEventPolling().TransferPolling();
  EXPECT_TRUE(home_.LogHasLine(kPollLog, u"Exception while transfer polling, Reason :" + reason));
}

// A device whose opening breaks off.
class BrokenDevice : public DeviceDriver {
 public:
  uint32_t OpenDevice(uint64_t) override { throw 42; }
  uint32_t ControlDevice(uint64_t, uint32_t, const void*, uint32_t, void*, uint32_t,
                         uint32_t*) override {
    return 0;
  }
  void CloseDevice(uint64_t) override {}
};

class ConnectionFailureTest : public HomeTest {
 protected:
  ConnectionFailureTest() {
    home_.SetAccount(server_.host(), kUser, u"secret");
    home_.SetSetting(kConnectionSubKey, u"Local Name", u"W:");
    server_.On([](const Request&) { return Reply::Status(200); });
    for (const TextView name : {u"W:", u"ZVfs"}) {
      RegisterDeviceDriver(name, std::make_shared<BrokenDevice>());
    }
    SetDebugOutputObserver([this](TextView text) { said_ += text; });
  }
  ~ConnectionFailureTest() override {
    SetDebugOutputObserver({});
    for (const TextView name : {u"W:", u"ZVfs"}) UnregisterDeviceDriver(name);
  }

  HttpServer server_;
  CConnection connection_;
  Text said_;
};

TEST_F(ConnectionFailureTest, OfAConnectionsQueryIsNoNetwork) {
  EXPECT_EQ(connection_.GetConnection(u"W:", nullptr, nullptr), kDriveNoNetwork);
  EXPECT_EQ(said_, u"Exception in CConnection::GetConnection\n");
}

TEST_F(ConnectionFailureTest, OfCreatingIsABadNetworkName) {
  EXPECT_EQ(connection_.CreateDrive(u"W:", u"\\\\cirrux\\drive", u"secret", u"user"),
            kDriveBadNetName);
  EXPECT_EQ(server_.request_count(), 1u);
}

TEST_F(ConnectionFailureTest, OfDeletingIsAGeneralFailure) {
  EXPECT_EQ(connection_.DeleteDrive(u"W:"), kDriveGeneralFailure);
}

}  // namespace
}  // namespace zv::testing
