#include "platform/posix/process_name.h"

#include <fcntl.h>

#include "platform/posix/unique_fd.h"

namespace zv {

// Asked for whenever a file is closed: without a stream's buffer and locale.
std::string ImageNameOf(int32_t process) {
  if (process == 0) return {};
  const std::string path = "/proc/" + std::to_string(process) + "/comm";
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  char line[64];
  const ssize_t size = file ? ::read(file.get(), line, sizeof line) : 0;
  const std::string name(line, size > 0 ? static_cast<size_t>(size) : 0);
  return name.substr(0, name.find('\n'));
}

}  // namespace zv
