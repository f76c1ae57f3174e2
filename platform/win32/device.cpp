#include "platform/device.h"

#include <windows.h>

#include <utility>

#include "platform/win32/wide.h"

namespace zv {
namespace {

HANDLE ToHandle(intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

void Close(intptr_t handle) {
  if (handle) CloseHandle(ToHandle(handle));
}

}  // namespace

Device::Device(Device&& other) noexcept : handle_(std::exchange(other.handle_, 0)) {}

Device& Device::operator=(Device&& other) noexcept {
  if (this != &other) Close(std::exchange(handle_, std::exchange(other.handle_, 0)));
  return *this;
}

Device::~Device() { Close(handle_); }

std::optional<Device> Device::Open(TextView name, DeviceDisposition disposition) {
  const HANDLE handle =
      CreateFileW(ToWide(name).c_str(), 0, 0, nullptr, static_cast<DWORD>(disposition),
                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return std::nullopt;
  return Device(reinterpret_cast<intptr_t>(handle));
}

bool Device::Control(uint32_t code, const void* in, uint32_t in_size, void* out, uint32_t out_size,
                     uint32_t* returned) const {
  DWORD written = 0;
  const BOOL accepted = DeviceIoControl(ToHandle(handle_), code, const_cast<void*>(in), in_size,
                                        out, out_size, &written, nullptr);
  if (returned) *returned = written;
  return accepted != FALSE;
}

bool Device::SharesMemory() { return false; }

void Device::Leak() { handle_ = 0; }

}  // namespace zv
