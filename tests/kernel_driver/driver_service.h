// Installs and runs the playing kernel driver through the service control manager.
// Thread rule: one object on one machine at a time; its members are called by one thread.
#ifndef TESTS_KERNEL_DRIVER_DRIVER_SERVICE_H_
#define TESTS_KERNEL_DRIVER_DRIVER_SERVICE_H_

#include <memory>
#include <string>

namespace zv::testing {

class DriverService {
 public:
  // Adopts open handles of the service manager and of the service.
  DriverService(void* manager, void* service) : manager_(manager), service_(service) {}
  // Ends a driver that an earlier program left behind, then installs and starts the one of `file`
  // (a full path). Null on failure; the step and the system's error number go to `error`.
  static std::unique_ptr<DriverService> Start(const std::wstring& file, std::string& error);

  // The driver's file: beside this program, or where the build put it.
  static std::wstring DefaultFile();

  // Stops and removes the driver.
  ~DriverService();
  DriverService(const DriverService&) = delete;
  DriverService& operator=(const DriverService&) = delete;

 private:
  void* manager_;
  void* service_;
};

}  // namespace zv::testing

#endif  // TESTS_KERNEL_DRIVER_DRIVER_SERVICE_H_
