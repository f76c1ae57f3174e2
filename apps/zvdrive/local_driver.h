// The file-system driver of this process: its control device and its one drive, whose requests come
// from the drive's own side of the queues.
#pragma once

#include <memory>

#include "apps/zvdrive/queues/request_queues.h"
#include "platform/device_driver.h"

namespace zv {

class LocalDriver {
 public:
  // Registers the control device.
  LocalDriver();
  // Ends polling and unregisters.
  ~LocalDriver();
  LocalDriver(const LocalDriver&) = delete;
  LocalDriver& operator=(const LocalDriver&) = delete;

  RequestQueues& queues() { return *queues_; }
  // Both polling loops end; requests that are under way or still to come get no reply.
  void EndPolling();

 private:
  class ControlSide;
  class DriveSide;
  std::shared_ptr<RequestQueues> queues_;
  std::shared_ptr<ControlSide> control_;
};

}  // namespace zv
