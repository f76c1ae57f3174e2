// A channel that knows single requests only: rows are asked for one by one, before they are waited
// for.
#pragma once

#include <memory>
#include <mutex>

#include "apps/zvdrive/drive/request_channel.h"

namespace zv::testing {

class PlainChannel : public RequestChannel {
 public:
  std::unique_ptr<RequestRow> BeginRow(DriveQueue queue, const RequestRecord& first,
                                       const HandedBlock& block, NextRequest next,
                                       RowOrder order) override {
    std::unique_lock lock(unbroken_mutex_, std::defer_lock);
    if (order == RowOrder::kUnbroken) lock.lock();
    RequestRecord record = first;
    std::span<const std::byte> bytes = block.bytes;
    for (;;) {
      const auto reply = Submit(queue, record, bytes, {}, {});
      if (!reply || !next(*reply, record)) return std::make_unique<EndedRow>(reply.has_value());
      bytes = {};
    }
  }

 private:
  class EndedRow final : public RequestRow {
   public:
    explicit EndedRow(bool replied) : replied_(replied) {}
    bool Wait() override { return replied_; }

   private:
    const bool replied_;
  };

  std::mutex unbroken_mutex_;
};

}  // namespace zv::testing
