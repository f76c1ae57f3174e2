// The worker in its place (on Windows the library in a host process, asked through the kernel
// driver), an account on a server in memory, and the drive Y:.
#pragma once

#include <memory>

#include "platform/file.h"
#include "tests/driver/worker_fixture.h"
#include "tests/support/dav_server.h"
#include "tests/worker/serving_process.h"

namespace zv::testing {

class ProtocolTest : public WorkerTest {
 protected:
  ProtocolTest() {
    home_.SetAccount(server_.host(), kUser, u"secret");
    home_.SetSetting(kConnectionSubKey, u"Local Name", u"Y:");
    home_.SetSetting(kConnectionSubKey, u"Quota", u"104857600");
    home_.SetSetting(kConnectionSubKey, u"OLdUsedQuota", u"3145728");
    MakeFolders(home_.CacheFolder(kUser));
  }

  void StartServing() { process_ = std::make_unique<ServingProcess>(*bench_); }
  void StopServing() { process_.reset(); }

  DavServer account_{server_};

 private:
  std::unique_ptr<ServingProcess> process_;
};

}  // namespace zv::testing
