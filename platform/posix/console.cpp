#include "platform/console.h"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <utility>

#include "platform/shared/no_echo.h"

namespace zv {

struct NoEcho::Impl {
  termios before{};
};

NoEcho::NoEcho() {
  auto impl = std::make_unique<Impl>();
  if (tcgetattr(STDIN_FILENO, &impl->before) != 0) return;
  termios silent = impl->before;
  silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  if (tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) == 0) impl_ = std::move(impl);
}

NoEcho::~NoEcho() {
  if (impl_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &impl_->before);
}

bool InputIsTerminal() { return isatty(STDIN_FILENO) != 0; }
bool OutputIsTerminal() { return isatty(STDOUT_FILENO) != 0; }

int TerminalWidth() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

// The real ones: libfuse names them to the kernel as the mount's owner.
UserIds CurrentUserIds() { return {getuid(), getgid()}; }

}  // namespace zv
