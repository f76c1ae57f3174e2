// The commands that need a drive: which there are depends on where the driver lives.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace zv {

// Adds this system's commands; `run` is set to the one that was chosen.
void AddDriveCommands(CLI::App& app, std::function<int()>& run);

}  // namespace zv
