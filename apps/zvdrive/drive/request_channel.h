// How the drive reaches the worker: request records in, reply records out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "driver/protocol.h"

namespace zv {

enum class DriveQueue { kInfo, kTransfer };

struct ChannelReply {
  uint32_t code = 0;                     // control code of the reply
  std::array<std::byte, 1112> record{};  // the reply record, from its first byte
  size_t record_size = 0;                // bytes of it
  size_t data_size = 0;                  // bytes that a restore put into `into`
};

class RequestChannel {
 public:
  virtual ~RequestChannel() = default;

  // Queues a request and waits for its end. block: what a backup step hands over. into: where a
  // restore's bytes go, at most its size. while_waiting (may be empty) is called now and then on
  // this thread. nullopt: no reply will come (the handler failed, or the worker is gone). Any
  // thread; requests of one queue are served in the order of their submission.
  virtual std::optional<ChannelReply> Submit(DriveQueue queue, const RequestRecord& record,
                                             std::span<const std::byte> block,
                                             std::span<std::byte> into,
                                             const std::function<void()>& while_waiting) = 0;

  // Takes a reply and fills the record of the request that follows it; false: none does.
  using NextRequest = std::function<bool(const ChannelReply&, RequestRecord&)>;
  // A row of requests without data, each made from the reply to the one before it; returns at its
  // end. next may be called on the worker's thread, so that nobody has to be woken between two of
  // them; it must be quick. Requests of others may come in between. False: a reply did not come.
  virtual bool SubmitRow(DriveQueue queue, const RequestRecord& first, const NextRequest& next) {
    RequestRecord record = first;
    for (;;) {
      const auto reply = Submit(queue, record, {}, {}, {});
      if (!reply) return false;
      if (!next(*reply, record)) return true;
    }
  }
};

}  // namespace zv
