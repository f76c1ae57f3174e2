#include <gtest/gtest.h>

#include "include/zvworker/zvworker.h"
#include "platform/thread.h"
#include "tests/worker/serving_process.h"

namespace zv::testing {

struct ServingProcess::Impl {
  Thread polling;
};

ServingProcess::ServingProcess(DriverBench& bench)
    : bench_(bench), impl_(std::make_unique<Impl>()) {
  std::u16string local_name = u"Y:";
  std::u16string remote_name = u"\\\\cirrux\\drive";
  ZvNetResource resource{};
  resource.local_name = local_name.data();
  resource.remote_name = remote_name.data();
  EXPECT_EQ(CreateNewDrive(&resource, u"secret", u"user"), ZV_SUCCESS);
  impl_->polling = Thread::Start([] { return StartPolling(); });
  EXPECT_TRUE(bench_.WaitForFetch(RequestQueue::kInfo));
  EXPECT_TRUE(bench_.WaitForFetch(RequestQueue::kTransfer));
}

ServingProcess::~ServingProcess() {
  bench_.RemoveDrive();
  EXPECT_EQ(impl_->polling.Join(), 0u);
}

}  // namespace zv::testing
