// A channel that knows single requests only: rows are asked for one by one, before they are waited
// for unless they are held up.
#pragma once

#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "apps/zvdrive/drive/request_channel.h"

namespace zv::testing {

class PlainChannel : public RequestChannel {
 public:
  std::unique_ptr<RequestRow> BeginRow(DriveQueue queue, const RequestRecord& first,
                                       const HandedBlock& block, NextRequest next,
                                       RowOrder order) override {
    auto row = std::make_unique<Row>(
        *this, Row::Requests{queue, first, block.bytes, std::move(next), order});
    if (!HoldsUp(queue)) row->Wait();
    return row;
  }

 protected:
  // Whether rows wait in line for as long as who waits for them wants to.
  virtual bool HoldsUp(DriveQueue) const { return false; }

 private:
  class Row final : public RequestRow {
   public:
    struct Requests {
      DriveQueue queue;
      RequestRecord record;
      std::span<const std::byte> block;
      NextRequest next;
      RowOrder order;
    };

    Row(PlainChannel& channel, Requests requests)
        : channel_(channel), requests_(std::move(requests)) {}

    bool Wait() override {
      if (!std::exchange(has_ended_, true)) replied_ = channel_.Ask(requests_);
      return replied_;
    }
    bool WaitWhile(const WhileWaiting& while_waiting) override {
      while (!has_ended_ && channel_.HoldsUp(requests_.queue)) {
        if (!while_waiting()) return false;
        std::this_thread::yield();
      }
      Wait();
      return true;
    }

   private:
    PlainChannel& channel_;
    Requests requests_;
    bool has_ended_ = false;
    bool replied_ = false;
  };

  // Whether replies came to all of them.
  bool Ask(Row::Requests& requests) {
    std::unique_lock lock(unbroken_mutex_, std::defer_lock);
    if (requests.order == RowOrder::kUnbroken) lock.lock();
    for (;;) {
      const auto reply = Submit(requests.queue, requests.record, requests.block, {}, {});
      if (!reply || !requests.next(*reply, requests.record)) return reply.has_value();
      requests.block = {};
    }
  }

  std::mutex unbroken_mutex_;
};

}  // namespace zv::testing
