#include "tests/kernel_driver/driver_service.h"

#include <windows.h>

namespace zv::testing {

namespace {

constexpr wchar_t kServiceName[] = L"ZVfs";

std::string Describe(const char* step) {
  return std::string(step) + " failed, error " + std::to_string(GetLastError());
}

void StopAndDelete(SC_HANDLE service) {
  SERVICE_STATUS status = {};
  ControlService(service, SERVICE_CONTROL_STOP, &status);
  while (QueryServiceStatus(service, &status) && status.dwCurrentState == SERVICE_STOP_PENDING) {
    Sleep(1);
  }
  DeleteService(service);
  CloseServiceHandle(service);
}

void RemoveLeftover(SC_HANDLE manager) {
  SC_HANDLE leftover = OpenServiceW(manager, kServiceName, SERVICE_ALL_ACCESS);
  if (leftover != nullptr) StopAndDelete(leftover);
}

}  // namespace

std::unique_ptr<DriverService> DriverService::Start(const std::wstring& file, std::string& error) {
  SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  if (manager == nullptr) {
    error = Describe("OpenSCManager");
    return nullptr;
  }
  RemoveLeftover(manager);
  SC_HANDLE service =
      CreateServiceW(manager, kServiceName, kServiceName, SERVICE_ALL_ACCESS, SERVICE_KERNEL_DRIVER,
                     SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, file.c_str(), nullptr, nullptr,
                     nullptr, nullptr, nullptr);
  if (service == nullptr) {
    error = Describe("CreateService");
    CloseServiceHandle(manager);
    return nullptr;
  }
  auto started = std::make_unique<DriverService>(manager, service);
  if (!StartServiceW(service, 0, nullptr)) {
    error = Describe("StartService");
    return nullptr;
  }
  return started;
}

DriverService::~DriverService() {
  StopAndDelete(static_cast<SC_HANDLE>(service_));
  CloseServiceHandle(static_cast<SC_HANDLE>(manager_));
}

std::wstring DriverService::DefaultFile() {
  wchar_t module[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, module, MAX_PATH);
  std::wstring beside(module);
  beside = beside.substr(0, beside.rfind(L'\\') + 1) + L"zvfs.sys";
  if (GetFileAttributesW(beside.c_str()) != INVALID_FILE_ATTRIBUTES) return beside;
  wchar_t built[MAX_PATH] = {};
  // The build knows a path of the building system, whose root is drive Z: here.
  GetFullPathNameW(L"Z:" ZVFS_SYS_FILE, MAX_PATH, built, nullptr);
  return built;
}

}  // namespace zv::testing
