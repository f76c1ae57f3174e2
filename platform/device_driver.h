// The other side of platform/device.h on Linux: a driver that lives in this process.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/text.h"

namespace zv {

// All calls may come from several threads at once. `file` tells apart the handles that are open.
class DeviceDriver {
 public:
  virtual ~DeviceDriver() = default;
  // 0, or the error code that the opener gets.
  virtual uint32_t OpenDevice(uint64_t file) = 0;
  // 0, or an error code. May block; input and output may overlap. returned: bytes written to out.
  virtual uint32_t ControlDevice(uint64_t file, uint32_t code, const void* in, uint32_t in_size,
                                 void* out, uint32_t out_size, uint32_t* returned) = 0;
  virtual void CloseDevice(uint64_t file) = 0;
};

// Names are case-blind and carry no "\\.\" ("ZVfs", "Y:"). Registering a name again replaces it;
// handles that are open keep the driver they opened.
void RegisterDeviceDriver(TextView name, std::shared_ptr<DeviceDriver> driver);
void UnregisterDeviceDriver(TextView name);

}  // namespace zv
