// A device of a driver, opened by name and controlled by code. On Linux the devices are those of
// drivers that registered in this process (platform/device_driver.h).
// Thread rule: Control may be called from several threads at once; each call blocks until answered.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/text.h"

namespace zv {

enum class DeviceDisposition : uint32_t { kCreateAlways = 2, kOpenExisting = 3 };

class Device {
 public:
  Device(Device&& other) noexcept;
  Device& operator=(Device&& other) noexcept;
  ~Device();

  // Opens a device such as "\\.\ZVfs" with no access rights and no sharing; nullopt with
  // LastError().
  static std::optional<Device> Open(TextView name, DeviceDisposition disposition);

  // Synchronous and buffered. False when the driver refuses, with LastError(). Either buffer may be
  // null with size 0; input and output may be one buffer. returned: bytes written to out, may be
  // null.
  bool Control(uint32_t code, const void* in, uint32_t in_size, void* out, uint32_t out_size,
               uint32_t* returned = nullptr) const;

  // The driver lives in this process: an address of one is an address of the other.
  static bool SharesMemory();

  // Gives the handle up without closing it: it stays open for the life of the process.
  void Leak();

 private:
  explicit Device(intptr_t handle) : handle_(handle) {}
  intptr_t handle_ = 0;
};

}  // namespace zv
