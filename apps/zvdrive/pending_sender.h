// What was not sent, sent again.
#pragma once

#include <atomic>
#include <cstdint>

#include "apps/zvdrive/drive/virtual_drive.h"
#include "platform/thread.h"

namespace zv {

// Sends what an earlier session, or an upload that failed, left behind: at the start and at
// intervals. A file that cannot be sent waits for the next time.
class PendingSender {
 public:
  // interval: milliseconds. Throws Error(kOther) when no thread can be made.
  PendingSender(VirtualDrive& drive, uint32_t interval);
  // Waits for the file that is being sent.
  ~PendingSender();
  PendingSender(const PendingSender&) = delete;
  PendingSender& operator=(const PendingSender&) = delete;

  // The file that is being sent is the last one.
  void AskToStop() { stop_ = true; }

 private:
  void SendAll();
  uint32_t Run(uint32_t interval);

  VirtualDrive& drive_;
  std::atomic<bool> stop_ = false;
  Thread thread_;  // last: it uses the others
};

}  // namespace zv
