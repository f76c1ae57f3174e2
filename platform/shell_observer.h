// Who hears what the library tells the shell, where there is no shell (Linux).
#pragma once

#include <functional>

#include "platform/shell.h"

namespace zv {

// One set of callbacks for the process; empty members are not called. Callbacks come on the thread
// that notifies. Windows here are what find_* return.
struct ShellObserver {
  std::function<void(uint32_t event, TextView first, TextView second)> on_change = {};
  uint32_t ignored_changes = 0;  // the kShell... events that on_change is not called for
  std::function<WindowHandle(TextView title)> find_top = {};
  std::function<WindowHandle(WindowHandle parent, TextView class_name)> find_child = {};
  std::function<void(WindowHandle, uint32_t message, uintptr_t, uintptr_t)> on_post = {};
  std::function<void(uint32_t event, char16_t letter)> on_volume = {};
};

// Replaces the observer; a call that is under way with the old one has ended when this returns.
void SetShellObserver(ShellObserver observer);

}  // namespace zv
