#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "platform/home.h"
#include "platform/shared_memory.h"
#include "platform/shared_memory_testing.h"
#include "tests/support/test_home.h"

namespace zv::testing {

struct TestHome::Impl {
  std::string folder;
};

TestHome::TestHome() : impl_(std::make_unique<Impl>()) {
  impl_->folder =
      (std::filesystem::temp_directory_path() / "zvworker-test-").string() + std::string(6, 'X');
  if (!mkdtemp(impl_->folder.data())) throw std::runtime_error("no temporary folder");
  setenv("ZVWORKER_HOME", impl_->folder.c_str(), 1);  // for processes that the test starts
  SetHomeFolder(impl_->folder);
}

TestHome::~TestHome() {
  RemoveSharedMemory();
  std::error_code ignored;
  std::filesystem::remove_all(impl_->folder, ignored);
}

}  // namespace zv::testing
