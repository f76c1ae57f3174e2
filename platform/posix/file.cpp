#include "platform/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/error.h"
#include "platform/posix/long_name.h"
#include "platform/posix/native_path.h"
#include "platform/posix/unique_fd.h"

namespace zv {
namespace {

constexpr intptr_t kClosed = -1;

[[noreturn]] void ThrowErrno() {
  SetLastError(static_cast<uint32_t>(errno));
  ThrowLastError(ErrorKind::kFile);
}

void CheckErrno(bool success) {
  if (!success) ThrowErrno();
}

int FlagsOf(Access access) {
  switch (access) {
    case Access::kRead:
      return O_RDONLY;
    case Access::kWrite:
      return O_WRONLY;
    case Access::kReadWrite:
      break;
  }
  return O_RDWR;
}

// Nobody asks when these files were read last, and noting it costs a read more than the read
// itself. Only a file's owner may leave it out.
int OpenFile(const std::string& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC | O_NOATIME, 0600);
  if (fd >= 0 || errno != EPERM) return fd;
  return ::open(path.c_str(), flags | O_CLOEXEC, 0600);
}

// What is not there exactly, under another case or as a new file.
int OpenElsewhere(const NativePath& native, int flags, bool create) {
  Elsewhere elsewhere = LookElsewhere(native);
  if (elsewhere.found) return OpenFile(*elsewhere.found, flags);
  errno = elsewhere.error;
  if (!create || errno != ENOENT) return -1;
  const auto place = elsewhere.place ? std::move(elsewhere.place) : PlaceForNew(native);
  if (!place) return -1;
  const auto lock = KeepTrueName(std::string(FolderOf(*place)), native.long_name);
  if (!lock) return -1;
  return OpenFile(*place, flags | O_CREAT);
}

void WriteAll(int fd, const char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(fd, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    CheckErrno(written >= 0);
    bytes += written;
    size -= static_cast<size_t>(written);
  }
}

}  // namespace

File::File(File&& other) noexcept : handle_(std::exchange(other.handle_, kClosed)) {}

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = std::exchange(other.handle_, kClosed);
  }
  return *this;
}

File::~File() { Close(); }

File File::Open(TextView path, Access access, Disposition disposition) {
  const auto native = ToNativePath(path);
  if (!native) return File();
  const int flags = FlagsOf(access) | (disposition == Disposition::kCreateAlways ? O_TRUNC : 0);
  // Most files are there, and exactly so; a new one may be there under another case.
  UniqueFd fd(OpenFile(native->path, flags));
  if (!fd && (errno == ENOENT || errno == ENOTDIR)) {
    const bool create = disposition != Disposition::kOpenExisting;
    fd = UniqueFd(OpenElsewhere(*native, flags, create));
  }
  struct stat status;
  if (fd && access == Access::kRead && ::fstat(fd.get(), &status) == 0 && S_ISDIR(status.st_mode)) {
    fd = UniqueFd();
    errno = EISDIR;
  }
  if (!fd) {
    SetLastError(static_cast<uint32_t>(errno));
    return File();
  }
  return File(fd.release());
}

bool File::is_open() const { return handle_ != kClosed; }

size_t File::Read(void* buffer, size_t size) {
  size_t total = 0;
  while (total < size) {
    const ssize_t got =
        ::read(static_cast<int>(handle_), static_cast<char*>(buffer) + total, size - total);
    if (got < 0 && errno == EINTR) continue;
    CheckErrno(got >= 0);
    if (got == 0) break;
    total += static_cast<size_t>(got);
  }
  return total;
}

std::string File::ReadAll() {
  // A small file comes with one piece, and without a question for its size.
  char piece[16384];
  std::string bytes(piece, Read(piece, sizeof piece));
  if (bytes.size() < sizeof piece) return bytes;
  const off_t position = ::lseek(static_cast<int>(handle_), 0, SEEK_CUR);
  CheckErrno(position >= 0);
  bytes.resize(bytes.size() + static_cast<size_t>(std::max<int64_t>(Size() - position, 0)));
  const size_t rest = Read(bytes.data() + sizeof piece, bytes.size() - sizeof piece);
  bytes.resize(sizeof piece + rest);
  // Others may have written meanwhile.
  while (const size_t got = Read(piece, sizeof piece)) bytes.append(piece, got);
  return bytes;
}

void File::Write(const void* data, size_t size) {
  WriteAll(static_cast<int>(handle_), static_cast<const char*>(data), size);
}

void File::Append(std::string_view bytes) {
  const int fd = static_cast<int>(handle_);
  // One write with this flag is one step for the system, wherever the descriptor's position is.
  iovec piece{const_cast<char*>(bytes.data()), bytes.size()};
  while (piece.iov_len > 0) {
    const ssize_t count = ::pwritev2(fd, &piece, 1, -1, RWF_APPEND);
    if (count < 0 && errno == EINTR) continue;
    CheckErrno(count >= 0);
    // Less than asked only on a disk that has run full: the next write says so.
    piece.iov_base = static_cast<char*>(piece.iov_base) + count;
    piece.iov_len -= static_cast<size_t>(count);
  }
}

void File::Seek(int64_t position) {
  CheckErrno(::lseek(static_cast<int>(handle_), position, SEEK_SET) >= 0);
}

int64_t File::SeekToEnd() {
  const off_t position = ::lseek(static_cast<int>(handle_), 0, SEEK_END);
  CheckErrno(position >= 0);
  return position;
}

int64_t File::Size() const {
  // Asked for nothing but the size: after a look at the times the next write would have to store
  // its own to the nanosecond, at several times the cost.
  struct statx status;
  CheckErrno(::statx(static_cast<int>(handle_), "", AT_EMPTY_PATH, STATX_SIZE, &status) == 0);
  return static_cast<int64_t>(status.stx_size);
}

void File::SetSize(int64_t size) { CheckErrno(::ftruncate(static_cast<int>(handle_), size) == 0); }

bool File::Claim() { return ::flock(static_cast<int>(handle_), LOCK_EX | LOCK_NB) == 0; }

void File::Close() {
  if (is_open()) ::close(static_cast<int>(std::exchange(handle_, kClosed)));
}

void File::CloseWritten() {
  if (!is_open()) return;
  // Where it was interrupted the descriptor is free all the same.
  CheckErrno(::close(static_cast<int>(std::exchange(handle_, kClosed))) == 0 || errno == EINTR);
}

}  // namespace zv
