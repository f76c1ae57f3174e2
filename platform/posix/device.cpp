#include "platform/device.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/device_driver.h"
#include "platform/error.h"

namespace zv {
namespace {

constexpr TextView kDevicePrefix = u"\\\\.\\";

// What a device handle points to: the driver stays alive as long as the handle does.
struct OpenDevice {
  std::shared_ptr<DeviceDriver> driver;
  uint64_t file;
  std::unique_ptr<OpenDevice> leaked_before;
};

struct DriverTable {
  std::mutex mutex;
  std::map<Text, std::shared_ptr<DeviceDriver>> drivers;  // by lowered name
  std::unique_ptr<OpenDevice> last_leaked;                // open for the life of the process
};

// Never destroyed, since a leaked handle's driver may be in use until the very end.
DriverTable& Table() {
  static DriverTable& table = *std::make_unique<DriverTable>().release();
  return table;
}

std::shared_ptr<DeviceDriver> FindDriver(TextView name) {
  if (!name.starts_with(kDevicePrefix)) return nullptr;
  DriverTable& table = Table();
  const std::lock_guard lock(table.mutex);
  const auto found = table.drivers.find(ToLower(name.substr(kDevicePrefix.size())));
  return found == table.drivers.end() ? nullptr : found->second;
}

OpenDevice* FromHandle(intptr_t handle) { return reinterpret_cast<OpenDevice*>(handle); }

void Close(intptr_t handle) {
  const std::unique_ptr<OpenDevice> device(FromHandle(handle));
  if (device) device->driver->CloseDevice(device->file);
}

}  // namespace

void RegisterDeviceDriver(TextView name, std::shared_ptr<DeviceDriver> driver) {
  DriverTable& table = Table();
  const std::lock_guard lock(table.mutex);
  // The replaced driver is let go after the lock, for its end may call back into this table.
  std::swap(table.drivers[ToLower(name)], driver);
}

void UnregisterDeviceDriver(TextView name) {
  DriverTable& table = Table();
  std::shared_ptr<DeviceDriver> removed;
  const std::lock_guard lock(table.mutex);
  const auto found = table.drivers.find(ToLower(name));
  if (found == table.drivers.end()) return;
  removed = std::move(found->second);
  table.drivers.erase(found);
}

Device::Device(Device&& other) noexcept : handle_(std::exchange(other.handle_, 0)) {}

Device& Device::operator=(Device&& other) noexcept {
  if (this != &other) Close(std::exchange(handle_, std::exchange(other.handle_, 0)));
  return *this;
}

Device::~Device() { Close(handle_); }

// In-process drivers look at neither rights nor disposition: opening is theirs to grant.
std::optional<Device> Device::Open(TextView name, DeviceDisposition) {
  static std::atomic<uint64_t> last_file = 0;
  auto driver = FindDriver(name);
  if (!driver) {
    SetLastError(kErrorFileNotFound);
    return std::nullopt;
  }
  auto device = std::make_unique<OpenDevice>(OpenDevice{std::move(driver), ++last_file, {}});
  if (const uint32_t error = device->driver->OpenDevice(device->file)) {
    SetLastError(error);
    return std::nullopt;
  }
  return Device(reinterpret_cast<intptr_t>(device.release()));
}

bool Device::Control(uint32_t code, const void* in, uint32_t in_size, void* out, uint32_t out_size,
                     uint32_t* returned) const {
  const OpenDevice* device = FromHandle(handle_);
  uint32_t written = 0;
  const uint32_t error =
      device->driver->ControlDevice(device->file, code, in, in_size, out, out_size, &written);
  if (returned) *returned = written;
  if (error) SetLastError(error);
  return error == 0;
}

bool Device::SharesMemory() { return true; }

void Device::Leak() {
  DriverTable& table = Table();
  const std::lock_guard lock(table.mutex);
  // Needs no memory: what has been done by now is not to fail here.
  std::unique_ptr<OpenDevice> device(FromHandle(std::exchange(handle_, 0)));
  device->leaked_before = std::move(table.last_leaked);
  table.last_leaked = std::move(device);
}

}  // namespace zv
