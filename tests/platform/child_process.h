// A program of the tests, run beside the test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zv::testing {

class ChildProcess {
 public:
  // program: file name without an ending, in the folder of the running one. Arguments without
  // blanks and quotation marks. Throws std::runtime_error when it cannot be started.
  ChildProcess(const std::string& program, const std::vector<std::string>& arguments);
  // Waits, too.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Its exit code.
  int Wait();

 private:
  intptr_t handle_ = 0;
  int exit_code_ = -1;
};

}  // namespace zv::testing
