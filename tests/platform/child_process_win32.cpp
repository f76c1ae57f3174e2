#include <windows.h>

#include <stdexcept>

#include "tests/platform/child_process.h"

namespace zv::testing {

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments) {
  wchar_t own[MAX_PATH];
  ::GetModuleFileNameW(nullptr, own, MAX_PATH);
  std::wstring command(own);
  command.resize(command.rfind(L'\\') + 1);
  command = L"\"" + command + std::wstring(program.begin(), program.end()) + L".exe\"";
  for (const std::string& argument : arguments) {
    command += L" " + std::wstring(argument.begin(), argument.end());
  }
  STARTUPINFOW start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION process;
  if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &start, &process)) {
    throw std::runtime_error("cannot start " + program);
  }
  ::CloseHandle(process.hThread);
  handle_ = reinterpret_cast<intptr_t>(process.hProcess);
}

ChildProcess::~ChildProcess() { Wait(); }

int ChildProcess::Wait() {
  if (handle_ != 0) {
    const HANDLE process = reinterpret_cast<HANDLE>(handle_);
    ::WaitForSingleObject(process, INFINITE);
    DWORD code = 0;
    if (::GetExitCodeProcess(process, &code)) exit_code_ = static_cast<int>(code);
    ::CloseHandle(process);
  }
  handle_ = 0;
  return exit_code_;
}

}  // namespace zv::testing
