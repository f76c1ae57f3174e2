#include "platform/posix/long_name.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/posix/native_path.h"
#include "platform/shared/stored_name.h"

namespace zv {
namespace {

std::string TrueNamesFolderOf(const std::string& folder) {
  return folder + "/" + std::string(kTrueNamesFolder);
}

std::optional<std::string> ReadSmallFile(const std::string& path) {
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return std::nullopt;
  std::string bytes;
  std::array<char, 4096> piece;
  for (;;) {
    const ssize_t got = ::read(file.get(), piece.data(), piece.size());
    if (got < 0) return std::nullopt;
    if (got == 0) return bytes;
    bytes.append(piece.data(), static_cast<size_t>(got));
  }
}

// False with errno.
bool WriteWhole(UniqueFd file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put = ::write(file.get(), bytes.data(), bytes.size());
    if (put < 0 && errno != EINTR) return false;
    if (put > 0) bytes.remove_prefix(static_cast<size_t>(put));
  }
  return ::close(file.release()) == 0 || errno == EINTR;
}

// Written aside and moved in place, so that readers see either all of it or nothing. False with
// errno.
bool WriteSmallFile(const std::string& path, const std::string& bytes) {
  static std::atomic<uint32_t> counter = 0;
  const std::string aside = path.substr(0, path.rfind('/')) + "/new." + std::to_string(::getpid()) +
                            "." + std::to_string(++counter);
  UniqueFd file(::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (!file) return false;
  if (WriteWhole(std::move(file), bytes) && ::rename(aside.c_str(), path.c_str()) == 0) return true;
  const int error = errno;
  ::unlink(aside.c_str());
  errno = error;
  return false;
}

TrueNamesLock Lock(const std::string& names, int operation) {
  TrueNamesLock lock(::open(names.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (lock) ::flock(lock.get(), operation);
  return lock;
}

}  // namespace

std::optional<Text> TrueNameOf(const std::string& folder, std::string_view stored) {
  const auto bytes = ReadSmallFile(TrueNamesFolderOf(folder) + "/" + std::string(stored));
  if (!bytes) return std::nullopt;
  return DecodeFileName(*bytes);
}

std::optional<TrueNamesLock> KeepTrueName(const std::string& folder, TextView name) {
  const std::string bytes = EncodeFileName(name);
  if (bytes.size() <= kMaxNameBytes) return TrueNamesLock();
  const std::string names = TrueNamesFolderOf(folder);
  if (::mkdir(names.c_str(), 0700) != 0 && errno != EEXIST) return std::nullopt;
  TrueNamesLock lock = Lock(names, LOCK_SH);
  if (!lock) return std::nullopt;
  const std::string path = names + "/" + EncodeFileName(StoredNameOf(name));
  if (ReadSmallFile(path) != bytes && !WriteSmallFile(path, bytes)) return std::nullopt;
  return lock;
}

void DropTrueName(const std::string& folder, std::string_view stored) {
  const std::string names = TrueNamesFolderOf(folder);
  const TrueNamesLock lock = Lock(names, LOCK_EX);
  if (!lock) return;
  const std::string name(stored);
  struct stat status;
  if (::lstat((folder + "/" + name).c_str(), &status) != 0) {
    ::unlink((names + "/" + name).c_str());
  }
}

}  // namespace zv
