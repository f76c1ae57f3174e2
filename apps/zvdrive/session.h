// A signed-on drive within this process: driver, worker and the drive's own side.
#pragma once

#include <functional>

#include "apps/zvdrive/account.h"
#include "apps/zvdrive/drive/virtual_drive.h"
#include "apps/zvdrive/local_driver.h"
#include "apps/zvdrive/worker_host.h"
#include "platform/thread.h"

namespace zv {

class DriveSession {
 public:
  // Signs on, creates the drive and starts to serve it. Throws CommandError (commands.h) with a
  // text for a person when that fails.
  DriveSession(const Account& account, std::function<bool()> is_interrupted,
               std::chrono::milliseconds walk_lifetime = DriveOptions{}.walk_lifetime);
  // Deletes the drive and waits until the worker has ended.
  ~DriveSession();
  DriveSession(const DriveSession&) = delete;
  DriveSession& operator=(const DriveSession&) = delete;

  VirtualDrive& drive() { return drive_; }

 private:
  // Both of the worker's threads wait for requests.
  bool IsServed();
  void End();

  const Text drive_letter_;
  LocalDriver driver_;
  WorkerHost host_;
  VirtualDrive drive_;
  Thread polling_;
};

}  // namespace zv
