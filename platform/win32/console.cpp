#include "platform/console.h"

#include <windows.h>

#include <iostream>

namespace zv {
namespace {

bool IsConsole(DWORD stream) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

// Echo off for the life of the object.
class NoEcho {
 public:
  NoEcho() : input_(GetStdHandle(STD_INPUT_HANDLE)) {
    if (!GetConsoleMode(input_, &before_)) return;
    const DWORD echo = ENABLE_ECHO_INPUT;
    changed_ = SetConsoleMode(input_, before_ & ~echo) != 0;
  }
  ~NoEcho() {
    if (changed_) SetConsoleMode(input_, before_);
  }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;

 private:
  HANDLE input_;
  DWORD before_ = 0;
  bool changed_ = false;
};

std::optional<std::string> ReadLine() {
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

}  // namespace

bool InputIsTerminal() { return IsConsole(STD_INPUT_HANDLE); }
bool OutputIsTerminal() { return IsConsole(STD_OUTPUT_HANDLE); }

int TerminalWidth() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) return 80;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

std::optional<std::string> ReadSecretLine(const std::string& prompt) {
  if (!InputIsTerminal()) return ReadLine();
  std::cerr << prompt << std::flush;
  const NoEcho no_echo;
  auto line = ReadLine();
  std::cerr << '\n';
  return line;
}

UserIds CurrentUserIds() { return {}; }

}  // namespace zv
