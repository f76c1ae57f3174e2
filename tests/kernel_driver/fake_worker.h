// The worker's end of the drive, bare: handles opened and control codes sent as the worker does.
#ifndef TESTS_KERNEL_DRIVER_FAKE_WORKER_H_
#define TESTS_KERNEL_DRIVER_FAKE_WORKER_H_

#include <cstdint>
#include <optional>

#include "driver/protocol.h"
#include "platform/device.h"
#include "tests/support/driver_bench.h"

namespace zv::testing {

// One handle on a device, closed with the object. Each call may come from any thread.
class WorkerHandle {
 public:
  static WorkerHandle Control() {
    return WorkerHandle(kControlDeviceName, DeviceDisposition::kCreateAlways);
  }
  static WorkerHandle Drive() {
    return WorkerHandle(u"\\\\.\\Y:", DeviceDisposition::kOpenExisting);
  }

  bool IsOpen() const { return device_.has_value(); }
  void Close() { device_.reset(); }

  bool Call(std::uint32_t code, const void* in, std::size_t in_size, void* out = nullptr,
            std::size_t out_size = 0) const {
    return device_->Control(code, in, static_cast<std::uint32_t>(in_size), out,
                            static_cast<std::uint32_t>(out_size));
  }

  // Waits for the next request; nullopt when the driver fails the fetch.
  std::optional<RequestRecord> Fetch(RequestQueue queue) const {
    RequestRecord record;
    const std::uint32_t code =
        queue == RequestQueue::kInfo ? IOCTL_GET_INFO_REQUEST : IOCTL_GET_TRANSFER_REQUEST;
    if (!Call(code, &record, sizeof(record), &record, sizeof(record))) return std::nullopt;
    return record;
  }

  bool ReplyStatus(std::uint32_t code, StatusWord status) const {
    return Call(code, &status, sizeof(status));
  }
  bool ReplyRestore(std::uint32_t length, std::uint32_t status, const void* buffer) const {
    const TransferReply reply{length, status, reinterpret_cast<std::uintptr_t>(buffer)};
    return Call(IOCTL_RESTORE_REPLY, &reply, sizeof(reply));
  }
  // Gives the length that the driver hands back.
  std::optional<std::uint32_t> ReplyBackup(std::uint32_t length, std::uint32_t status,
                                           void* buffer) const {
    TransferReply reply{length, status, reinterpret_cast<std::uintptr_t>(buffer)};
    if (!Call(IOCTL_BACKUP_REPLY, &reply, sizeof(reply), &reply, sizeof(reply)))
      return std::nullopt;
    return reply.length;
  }

 private:
  WorkerHandle(TextView name, DeviceDisposition disposition)
      : device_(Device::Open(name, disposition)) {}
  std::optional<Device> device_;
};

}  // namespace zv::testing

#endif  // TESTS_KERNEL_DRIVER_FAKE_WORKER_H_
