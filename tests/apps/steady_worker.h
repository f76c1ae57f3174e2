// A played worker that has memory enough while its drive has not.
#pragma once

#include <memory>
#include <new>
#include <optional>
#include <span>

#include "tests/apps/fake_worker.h"
#include "tests/support/failing_memory.h"

namespace zv::testing {

// What the drive does on its behalf may still fail: a row ends by it, as in the queues.
class SteadyWorker final : public RequestChannel, public DriveHost {
 public:
  FakeWorker& played() { return played_; }

  std::optional<ChannelReply> Submit(DriveQueue queue, const RequestRecord& record,
                                     std::span<const std::byte> block, std::span<std::byte> into,
                                     const WhileWaiting& while_waiting) override {
    const auto question = std::make_unique<RequestRecord>(record);  // may fail before it is asked
    const AllocationsSucceed steady;
    return played_.Submit(queue, *question, block, into, while_waiting);
  }

  std::unique_ptr<RequestRow> BeginRow(DriveQueue queue, const RequestRecord& first,
                                       const HandedBlock& block, NextRequest next,
                                       RowOrder) override {
    auto row = std::make_unique<Row>();
    RequestRecord record = first;
    std::span<const std::byte> bytes = block.bytes;
    for (;;) {
      std::optional<ChannelReply> reply;
      {
        const AllocationsSucceed steady;
        reply = played_.Submit(queue, record, bytes, {}, {});
      }
      if (!reply) return row;
      try {
        if (!next(*reply, record)) break;
      } catch (const std::bad_alloc&) {
        return row;
      }
      bytes = {};
    }
    row->replied = true;
    return row;
  }

  void CheckLastModified(TextView path) override {
    const AllocationsSucceed steady;
    played_.CheckLastModified(path);
  }
  uint64_t ContentVersion(TextView path) override {
    const AllocationsSucceed steady;
    return played_.ContentVersion(path);
  }
  std::optional<Seconds1601> ContentTime(TextView path) override {
    const AllocationsSucceed steady;
    return played_.ContentTime(path);
  }
  Text ContentFile(TextView path) override {
    const AllocationsSucceed steady;
    return played_.ContentFile(path);
  }
  FileTime ContentWritten(TextView path) override {
    const AllocationsSucceed steady;
    return played_.ContentWritten(path);
  }
  bool HasRoom(int64_t bytes) override { return played_.HasRoom(bytes); }
  void CancelTransfer(TextView path) override {
    const AllocationsSucceed steady;
    played_.CancelTransfer(path);
  }
  bool MarkUnsent(TextView path) override {
    const AllocationsSucceed steady;
    return played_.MarkUnsent(path);
  }
  void MarkSent(TextView path) override {
    const AllocationsSucceed steady;
    played_.MarkSent(path);
  }
  bool IsUnsent(TextView path) override {
    const AllocationsSucceed steady;
    return played_.IsUnsent(path);
  }
  bool IsOverdue(TextView path) override {
    const AllocationsSucceed steady;
    return played_.IsOverdue(path);
  }
  void DropContent(TextView path) override {
    const AllocationsSucceed steady;
    played_.DropContent(path);
  }
  void NoteListing() override { played_.NoteListing(); }
  bool IsInterrupted() override { return played_.IsInterrupted(); }

 private:
  struct Row final : RequestRow {
    bool Wait() override { return replied; }
    bool WaitWhile(const WhileWaiting&) override { return true; }
    bool replied = false;
  };

  FakeWorker played_;
};

}  // namespace zv::testing
