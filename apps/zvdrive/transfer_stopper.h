// The end of transfers that do not end by themselves.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "platform/thread.h"

namespace zv {

// For as long as it lives, whatever is transferred is asked to stop, again and again: a transfer to
// a server that always refuses does not end by itself, and after it comes the next that waits.
class TransferStopper {
 public:
  TransferStopper();
  ~TransferStopper();
  TransferStopper(const TransferStopper&) = delete;
  TransferStopper& operator=(const TransferStopper&) = delete;

 private:
  uint32_t Run();

  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stop_ = false;
  Thread thread_;
};

}  // namespace zv
