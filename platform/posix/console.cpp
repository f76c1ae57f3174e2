#include "platform/console.h"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <iostream>

namespace zv {
namespace {

// Echo off for the life of the object.
class NoEcho {
 public:
  NoEcho() {
    if (tcgetattr(STDIN_FILENO, &before_) != 0) return;
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    changed_ = tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) == 0;
  }
  ~NoEcho() {
    if (changed_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
  }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;

 private:
  termios before_{};
  bool changed_ = false;
};

std::optional<std::string> ReadLine() {
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

}  // namespace

bool InputIsTerminal() { return isatty(STDIN_FILENO) != 0; }
bool OutputIsTerminal() { return isatty(STDOUT_FILENO) != 0; }

int TerminalWidth() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

std::optional<std::string> ReadSecretLine(const std::string& prompt) {
  if (!InputIsTerminal()) return ReadLine();
  std::cerr << prompt << std::flush;
  const NoEcho no_echo;
  auto line = ReadLine();
  std::cerr << '\n';
  return line;
}

UserIds CurrentUserIds() { return {getuid(), getgid()}; }

}  // namespace zv
