// Names of programs.
#pragma once

#include <cstdint>
#include <string>

namespace zv {

// The image name of a running process, as the system calls it: at most 15 bytes. Empty when there
// is no such process, as for 0. Any thread.
std::string ImageNameOf(int32_t process);

}  // namespace zv
