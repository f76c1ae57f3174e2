// The two polling loops that serve the driver's queues.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "cache/cache.h"
#include "config/log.h"
#include "driver/protocol.h"
#include "platform/device.h"

namespace zv {

// One per polling thread, used by that thread alone.
class CEventPolling {
 public:
  CEventPolling();
  virtual ~CEventPolling();
  CEventPolling(const CEventPolling&) = delete;
  CEventPolling& operator=(const CEventPolling&) = delete;

  // Serve requests until the driver sends the end code. Wait for the drive when it is not there yet.
  void InfoPolling();
  void TransferPolling();

  CLogEvent& poll_log() { return poll_log_; }
  CCache& cache() { return *cache_; }
  // Sends a reply record; what the driver says to it is not looked at.
  void SendReply(uint32_t code, const void* record, uint32_t size);
  // Sends and takes the driver's answer into the same record.
  void ExchangeReply(uint32_t code, void* record, uint32_t size);

 private:
  CLogEvent poll_log_;
  std::unique_ptr<CCache> cache_;
  std::optional<Device> drive_;
};

// The drive's local name from the settings; empty when it cannot be read.
Text GetLocalName();

// Starts the info and the transfer thread and waits until both have ended. Always 0.
uint32_t RunPolling();

}  // namespace zv
