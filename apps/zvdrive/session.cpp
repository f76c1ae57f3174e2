#include "apps/zvdrive/session.h"

#include "apps/zvdrive/commands.h"
#include "include/zvworker/zvworker.h"

namespace zv {

DriveSession::DriveSession(const Account& account, std::function<bool()> is_interrupted,
                           std::chrono::milliseconds walk_lifetime)
    : drive_letter_(account.drive_letter),
      host_(drive_letter_, std::move(is_interrupted)),
      drive_(driver_.queues(), host_,
             {.drive_letter = drive_letter_,
              .walk_lifetime = walk_lifetime,
              .is_sync = account.is_sync}) {
  CreateDriveFor(account);
  polling_ = Thread::Start([] { return StartPolling(); });
  // A loop that has not opened the drive yet would look for it for ever once it is deleted.
  constexpr std::chrono::seconds kPatience(10);
  driver_.queues().WaitForFetch(DriveQueue::kInfo, kPatience);
  driver_.queues().WaitForFetch(DriveQueue::kTransfer, kPatience);
}

DriveSession::~DriveSession() {
  DeleteNewDrive(drive_letter_.c_str());
  driver_.EndPolling();
  polling_.Join();
}

}  // namespace zv
