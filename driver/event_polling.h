// The two polling loops that serve the driver's queues.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "cache/cache.h"
#include "config/log.h"
#include "platform/device.h"

namespace zv {

struct PollingLoop;

// One per polling thread, used by that thread alone: the drive's handle, the poll log and a cache.
class CEventPolling {
 public:
  CEventPolling();
  virtual ~CEventPolling();
  CEventPolling(const CEventPolling&) = delete;
  CEventPolling& operator=(const CEventPolling&) = delete;

  // Serve requests one at a time until the driver sends the end code; wait for the drive when it is
  // not there yet. Nothing throws: a failure of the loop's own steps is logged and ends the loop,
  // with the drive's handle left open.
  void InfoPolling();
  void TransferPolling();

  CLogEvent& poll_log() { return poll_log_; }
  CCache& cache() { return *cache_; }
  // The drive device. Handlers only: it is open from a loop's first pass on.
  const Device& drive() const { return *drive_; }

 private:
  void Poll(const PollingLoop& loop);
  void ServeUntilEnd(const PollingLoop& loop);

  CLogEvent poll_log_;
  std::unique_ptr<CCache> cache_;
  std::optional<Device> drive_;
};

// Starts the info thread, then the transfer thread, and waits until both have ended. They end at
// once, without having served, when one of them cannot be made. Always 0.
uint32_t RunPolling();

}  // namespace zv
