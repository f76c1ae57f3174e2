// A second process for tests: this test program again, in a role of its own.
#pragma once

#include <string>
#include <vector>

namespace zv::testing {

class SecondProcess {
 public:
  // Starts this program as `--child ROLE ARGUMENT...`; an argument must not be empty or hold
  // blanks.
  explicit SecondProcess(std::vector<std::string> role_and_arguments);
  SecondProcess(SecondProcess&&) noexcept;
  SecondProcess& operator=(SecondProcess&&) = delete;
  ~SecondProcess();

  // Its exit code; -1 when it could not be started or was killed.
  int Wait();

 private:
  long long process_ = -1;
};

}  // namespace zv::testing
