#include "platform/console.h"

#include <windows.h>

#include <utility>

#include "platform/shared/no_echo.h"

namespace zv {
namespace {

bool IsConsole(DWORD stream) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

}  // namespace

struct NoEcho::Impl {
  HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  DWORD before = 0;
};

NoEcho::NoEcho() {
  auto impl = std::make_unique<Impl>();
  if (!GetConsoleMode(impl->input, &impl->before)) return;
  const DWORD echo = ENABLE_ECHO_INPUT;
  if (SetConsoleMode(impl->input, impl->before & ~echo)) impl_ = std::move(impl);
}

NoEcho::~NoEcho() {
  if (impl_) SetConsoleMode(impl_->input, impl_->before);
}

bool InputIsTerminal() { return IsConsole(STD_INPUT_HANDLE); }
bool OutputIsTerminal() { return IsConsole(STD_OUTPUT_HANDLE); }

int TerminalWidth() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) return 80;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

UserIds CurrentUserIds() { return {}; }

}  // namespace zv
