#include "tests/e2e/windows_program.h"

#include <windows.h>

#include <stdexcept>
#include <utility>

namespace zv::testing {
namespace {

constexpr DWORD kPatience = 30000;  // ms
constexpr DWORD kPipeBytes = 65536;

HANDLE OrThrow(HANDLE handle) {
  if (handle == INVALID_HANDLE_VALUE) throw std::runtime_error("a file does not open");
  return handle;
}

// What the program reads: the end of a pipe that holds it all.
HANDLE InputOf(const std::string& text, SECURITY_ATTRIBUTES& inherited) {
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  if (!CreatePipe(&read, &write, &inherited, kPipeBytes)) throw std::runtime_error("no pipe");
  DWORD written = 0;
  WriteFile(write, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  CloseHandle(write);
  return read;
}

// A file and no pipe: what the program starts in the background keeps its end of a pipe open.
std::wstring NewOutputFile() {
  wchar_t folder[MAX_PATH];
  wchar_t file[MAX_PATH];
  if (!GetTempPathW(MAX_PATH, folder) || !GetTempFileNameW(folder, L"zv", 0, file)) {
    throw std::runtime_error("no temporary file");
  }
  return file;
}

HANDLE OpenOutput(const std::wstring& file, DWORD access, SECURITY_ATTRIBUTES* inherited) {
  return OrThrow(CreateFileW(file.c_str(), access,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, inherited,
                             OPEN_EXISTING, 0, nullptr));
}

std::string ReadAll(const std::wstring& file) {
  const HANDLE from = OpenOutput(file, GENERIC_READ, nullptr);
  std::string text;
  char piece[4096];
  DWORD got = 0;
  while (ReadFile(from, piece, sizeof piece, &got, nullptr) && got != 0) text.append(piece, got);
  CloseHandle(from);
  return text;
}

}  // namespace

WindowsProgram::WindowsProgram(const std::wstring& file, const std::vector<std::string>& arguments,
                               const std::string& input)
    : output_file_(NewOutputFile()) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  std::wstring command = L"\"" + file + L"\"";
  for (const std::string& argument : arguments) {
    command += L" " + std::wstring(argument.begin(), argument.end());
  }
  STARTUPINFOW start = {};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = InputOf(input, inherited);
  start.hStdOutput = start.hStdError = OpenOutput(output_file_, FILE_APPEND_DATA, &inherited);
  PROCESS_INFORMATION process = {};
  const bool started = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE,
                                      CREATE_NO_WINDOW, nullptr, nullptr, &start, &process) != 0;
  CloseHandle(start.hStdInput);
  CloseHandle(start.hStdOutput);
  if (!started) throw std::runtime_error("the program does not start");
  CloseHandle(process.hThread);
  process_ = process.hProcess;
}

WindowsProgram::~WindowsProgram() {
  if (process_) TerminateProcess(process_, 1);
  Wait();
}

// The program has a console of its own: what is pressed there reaches it alone, and us while we
// look in.
void WindowsProgram::PressCtrlC() const {
  FreeConsole();
  if (!AttachConsole(GetProcessId(process_))) throw std::runtime_error("the console is not there");
  SetConsoleCtrlHandler(nullptr, TRUE);
  const bool pressed = GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != 0;
  FreeConsole();
  SetConsoleCtrlHandler(nullptr, FALSE);
  if (!pressed) throw std::runtime_error("Ctrl-C cannot be pressed");
}

uint32_t WindowsProgram::Wait() {
  if (!process_) return exit_code_;
  if (WaitForSingleObject(process_, kPatience) != WAIT_OBJECT_0) {
    TerminateProcess(process_, 1);
    WaitForSingleObject(process_, INFINITE);
  }
  DWORD code = 0;
  GetExitCodeProcess(process_, &code);
  exit_code_ = code;
  CloseHandle(std::exchange(process_, nullptr));
  output_ = ReadAll(output_file_);
  DeleteFileW(output_file_.c_str());
  return exit_code_;
}

}  // namespace zv::testing
