#include "apps/zvdrive/local_driver.h"

#include <cerrno>
#include <mutex>

#include "driver/protocol.h"

namespace zv {
namespace {

constexpr TextView kControlName = u"ZVfs";
constexpr TextView kDosDevices = u"\\DosDevices\\";

// "Y:" of a request's "\DosDevices\Y:"; empty when it is none.
Text DriveNameOf(const void* in, uint32_t size) {
  if (size != kDosDeviceNameBytes) return {};
  const Text name = FromUtf16LeBytes({static_cast<const char*>(in), size});
  const TextView text = TextView(name).substr(0, name.find(u'\0'));
  return text.starts_with(kDosDevices) ? Text(text.substr(kDosDevices.size())) : Text();
}

}  // namespace

// The drive: fetches, replies and its own removal.
class LocalDriver::DriveSide final : public DeviceDriver {
 public:
  explicit DriveSide(std::shared_ptr<RequestQueues> queues) : queues_(std::move(queues)) {}

  uint32_t OpenDevice(uint64_t file) override {
    queues_->OpenHandle(file);
    return 0;
  }
  void CloseDevice(uint64_t file) override { queues_->CloseHandle(file); }
  uint32_t ControlDevice(uint64_t file, uint32_t code, const void* in, uint32_t in_size, void* out,
                         uint32_t out_size, uint32_t* returned) override {
    if (code != IOCTL_DELETE_DRIVE) {
      return queues_->Control(file, code, in, in_size, out, out_size, returned);
    }
    const Text name = DriveNameOf(in, in_size);
    if (name.empty()) return EINVAL;
    UnregisterDeviceDriver(name);
    queues_->RemoveDrive();
    return 0;
  }

 private:
  std::shared_ptr<RequestQueues> queues_;
};

class LocalDriver::ControlSide final : public DeviceDriver {
 public:
  explicit ControlSide(std::shared_ptr<RequestQueues> queues) : queues_(std::move(queues)) {}

  uint32_t OpenDevice(uint64_t) override { return 0; }
  void CloseDevice(uint64_t) override {}
  uint32_t ControlDevice(uint64_t, uint32_t code, const void* in, uint32_t in_size, void*, uint32_t,
                         uint32_t* returned) override {
    if (returned) *returned = 0;
    const Text name = code == IOCTL_CREATE_DRIVE ? DriveNameOf(in, in_size) : Text();
    if (name.empty()) return EINVAL;
    const std::lock_guard lock(mutex_);
    drive_name_ = name;
    queues_->StartDrive();
    RegisterDeviceDriver(name, std::make_shared<DriveSide>(queues_));
    return 0;
  }

  void RemoveDrive() {
    const std::lock_guard lock(mutex_);
    if (!drive_name_.empty()) UnregisterDeviceDriver(drive_name_);
    drive_name_.clear();
  }

 private:
  std::mutex mutex_;
  Text drive_name_;
  std::shared_ptr<RequestQueues> queues_;
};

LocalDriver::LocalDriver()
    : queues_(std::make_shared<RequestQueues>()), control_(std::make_shared<ControlSide>(queues_)) {
  RegisterDeviceDriver(kControlName, control_);
}

LocalDriver::~LocalDriver() {
  EndPolling();
  control_->RemoveDrive();
  UnregisterDeviceDriver(kControlName);
}

void LocalDriver::EndPolling() { queues_->Shutdown(); }

}  // namespace zv
