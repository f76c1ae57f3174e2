// For doors that keep something open below the home folder.
#pragma once

#include <functional>

namespace zv {

// From now on called, on the changing thread, after every change of the home folder.
void OnHomeChange(std::function<void()> action);

}  // namespace zv
