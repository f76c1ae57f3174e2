#include "platform/posix/rename_new.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace zv {

bool RenameToNew(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  return errno == EINVAL && RenameByLink(from, to);
}

bool RenameByLink(const std::string& from, const std::string& to) {
  if (::link(from.c_str(), to.c_str()) != 0) return false;
  if (::unlink(from.c_str()) == 0) return true;
  const int error = errno;
  ::unlink(to.c_str());
  errno = error;
  return false;
}

}  // namespace zv
