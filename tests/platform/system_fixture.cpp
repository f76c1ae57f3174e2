#include "tests/platform/system_fixture.h"

#ifndef _WIN32
#include <cstdlib>
#include <filesystem>

#include "platform/home.h"
#include "platform/shared_memory_testing.h"
#endif

namespace zv::testing {

#ifdef _WIN32
TemporaryHome::TemporaryHome() : name_("unused") {}
TemporaryHome::~TemporaryHome() = default;
void UseHome(const std::string&) {}
#else
TemporaryHome::TemporaryHome() {
  name_ =
      (std::filesystem::temp_directory_path() / "zvworker-test-").string() + std::string(6, 'X');
  if (!mkdtemp(name_.data())) std::abort();
  SetHomeFolder(name_);
}

TemporaryHome::~TemporaryHome() {
  SetHomeFolder(name_);  // the test may stand in another one
  RemoveSharedMemory();
  std::filesystem::remove_all(name_);
}

void UseHome(const std::string& name) { SetHomeFolder(name); }
#endif

}  // namespace zv::testing
