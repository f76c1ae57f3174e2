// What only the Windows bench has: a second process can join the driver that another one started.
#ifndef TESTS_SUPPORT_DRIVER_BENCH_WIN32_H_
#define TESTS_SUPPORT_DRIVER_BENCH_WIN32_H_

#include <memory>

#include "tests/support/driver_bench.h"

namespace zv::testing {

// A bench on the driver that already runs; its end leaves the driver running. Null when there is
// none.
std::unique_ptr<DriverBench> JoinRunningDriver();

}  // namespace zv::testing

#endif  // TESTS_SUPPORT_DRIVER_BENCH_WIN32_H_
