// What the drive asks of its host, answered by the worker in this process.
#pragma once

#include <functional>
#include <mutex>

#include "apps/zvdrive/drive/drive_host.h"

namespace zv {

class WorkerHost final : public DriveHost {
 public:
  // is_interrupted: asked on the thread that waits; may be empty.
  WorkerHost(Text drive_letter, std::function<bool()> is_interrupted);

  void CheckLastModified(TextView path) override;
  uint64_t ContentVersion(TextView path) override;
  std::optional<Seconds1601> ContentTime(TextView path) override;
  Text ContentFile(TextView path) override;
  void DropContent(TextView path) override;
  FileTime ContentWritten(TextView path) override;
  bool HasRoom(int64_t bytes) override;
  void CancelTransfer(TextView path) override;
  bool MarkUnsent(TextView path) override;
  void MarkSent(TextView path) override;
  bool IsUnsent(TextView path) override;
  bool IsOverdue(TextView path) override;
  void NoteListing() override;
  bool IsInterrupted() override;

 private:
  const Text drive_letter_;
  const std::function<bool()> is_interrupted_;
  std::mutex mutex_;
  uint64_t noted_used_space_ = 0;
};

}  // namespace zv
