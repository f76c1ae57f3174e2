// The worker in its place: on Windows the built library in a host process of its own, asked through
// the kernel driver; on Linux, where a driver lives in the worker's process, the worker's code
// within this one.
#pragma once

#include <memory>

#include "tests/support/driver_bench.h"

namespace zv::testing {

class ServingProcess {
 public:
  // Creates the drive Y: and waits until both queues are served. The account's settings must be
  // there.
  explicit ServingProcess(DriverBench& bench);
  // Deletes the drive and waits until the worker has ended.
  ~ServingProcess();
  ServingProcess(const ServingProcess&) = delete;
  ServingProcess& operator=(const ServingProcess&) = delete;

 private:
  struct Impl;
  DriverBench& bench_;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zv::testing
