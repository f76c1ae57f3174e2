#include "apps/zvdrive/session.h"

#include "apps/zvdrive/commands.h"
#include "include/zvworker/zvworker.h"

namespace zv {

DriveSession::DriveSession(const Account& account, std::function<bool()> is_interrupted)
    : drive_letter_(account.drive_letter),
      host_(drive_letter_, std::move(is_interrupted)),
      drive_(driver_.queues(), host_, {.drive_letter = drive_letter_, .is_sync = account.is_sync}) {
  CreateDriveFor(account);
  polling_ = Thread::Start([] { return StartPolling(); });
}

DriveSession::~DriveSession() {
  DeleteNewDrive(drive_letter_.c_str());
  driver_.EndPolling();
  polling_.Join();
}

}  // namespace zv
