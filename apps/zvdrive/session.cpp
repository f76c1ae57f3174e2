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
  polling_ = Thread::Start([this] {
    const uint32_t result = StartPolling();
    driver_.EndPolling();  // whoever still asks would wait for ever
    return result;
  });
  if (IsServed()) return;
  End();
  throw CommandError("the drive cannot be served: the worker's threads did not start");
}

DriveSession::~DriveSession() { End(); }

// A loop that has not opened the drive yet would look for it for ever once it is deleted.
bool DriveSession::IsServed() {
  constexpr std::chrono::seconds kPatience(30);
  RequestQueues& queues = driver_.queues();
  return queues.WaitForFetch(DriveQueue::kInfo, kPatience) &&
         queues.WaitForFetch(DriveQueue::kTransfer, kPatience);
}

void DriveSession::End() {
  DeleteNewDrive(drive_letter_.c_str());
  driver_.EndPolling();
  polling_.Join();
}

}  // namespace zv
