#include <gtest/gtest.h>

#include "tests/platform/child_process.h"
#include "tests/worker/serving_process.h"

namespace zv::testing {

struct ServingProcess::Impl {
  ChildProcess host{"library_host", {"serve"}};
};

ServingProcess::ServingProcess(DriverBench& bench)
    : bench_(bench), impl_(std::make_unique<Impl>()) {
  EXPECT_TRUE(bench_.WaitForFetch(RequestQueue::kInfo));
  EXPECT_TRUE(bench_.WaitForFetch(RequestQueue::kTransfer));
}

ServingProcess::~ServingProcess() {
  bench_.RemoveDrive();
  EXPECT_EQ(impl_->host.Wait(), 0);
}

}  // namespace zv::testing
