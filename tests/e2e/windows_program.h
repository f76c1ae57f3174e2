// A Windows program run with something to read, and what it wrote.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zv::testing {

class WindowsProgram {
 public:
  // file: full path. Arguments without blanks and quotation marks. Throws std::runtime_error when
  // it cannot be started.
  WindowsProgram(const std::wstring& file, const std::vector<std::string>& arguments,
                 const std::string& input = {});
  // Ends it by force when it still runs.
  ~WindowsProgram();
  WindowsProgram(const WindowsProgram&) = delete;
  WindowsProgram& operator=(const WindowsProgram&) = delete;

  // Presses Ctrl-C in its console. Throws when that cannot be.
  void PressCtrlC() const;
  // Its exit code; ends it by force when it has not ended by itself in half a minute.
  uint32_t Wait();
  // All that it wrote to its two outputs, after Wait.
  const std::string& output() const { return output_; }

 private:
  const std::wstring output_file_;
  void* process_ = nullptr;
  uint32_t exit_code_ = 0;
  std::string output_;
};

}  // namespace zv::testing
