#include "platform/posix/native_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/posix/native_path.h"

namespace zv {

std::optional<NativeFile> OpenNativeFile(TextView path) {
  const auto wanted = ToNativePath(path);
  const auto found = wanted ? FindOnDisk(*wanted) : std::nullopt;
  if (!found) return std::nullopt;
  NativeFile file;
  file.descriptor = UniqueFd(::open(found->c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status;
  if (!file.descriptor || ::fstat(file.descriptor.get(), &status) != 0) return std::nullopt;
  file.device = status.st_dev;
  file.inode = status.st_ino;
  file.size = status.st_size;
  return file;
}

}  // namespace zv
