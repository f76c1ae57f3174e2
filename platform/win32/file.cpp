#include "platform/file.h"

#include <windows.h>

#include <algorithm>
#include <utility>

#include "platform/error.h"
#include "platform/win32/long_name.h"
#include "platform/win32/native_path.h"

namespace zv {
namespace {

constexpr intptr_t kClosed = -1;
constexpr size_t kMaxPiece = size_t{1} << 30;  // one call moves less than 4 GiB

HANDLE ToHandle(intptr_t value) { return reinterpret_cast<HANDLE>(value); }

void Check(BOOL success) {
  if (!success) ThrowLastError(ErrorKind::kFile);
}

DWORD RightsOf(Access access) {
  switch (access) {
    case Access::kRead:
      return GENERIC_READ;
    case Access::kWrite:
      return GENERIC_WRITE;
    case Access::kReadWrite:
      break;
  }
  return GENERIC_READ | GENERIC_WRITE;
}

DWORD CreationOf(Disposition disposition) {
  switch (disposition) {
    case Disposition::kOpenExisting:
      return OPEN_EXISTING;
    case Disposition::kOpenAlways:
      return OPEN_ALWAYS;
    case Disposition::kCreateAlways:
      break;
  }
  return CREATE_ALWAYS;
}

int64_t MovePointer(intptr_t handle, int64_t distance, DWORD method) {
  LARGE_INTEGER to;
  LARGE_INTEGER position;
  to.QuadPart = distance;
  Check(::SetFilePointerEx(ToHandle(handle), to, &position, method));
  return position.QuadPart;
}

void WriteAll(intptr_t handle, const char* bytes, size_t size) {
  while (size > 0) {
    DWORD written = 0;
    Check(::WriteFile(ToHandle(handle), bytes, static_cast<DWORD>(std::min(size, kMaxPiece)),
                      &written, nullptr));
    bytes += written;
    size -= written;
  }
}

// Held by everyone who appends, on a byte that no file has. The system's own append-only write is
// one step on Windows, but reads the size and writes in two under Wine.
class AppendLock {
 public:
  explicit AppendLock(intptr_t handle) : handle_(handle) {
    OVERLAPPED place = Place();
    Check(::LockFileEx(ToHandle(handle_), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place));
  }
  ~AppendLock() {
    OVERLAPPED place = Place();
    ::UnlockFileEx(ToHandle(handle_), 0, 1, 0, &place);
  }
  AppendLock(const AppendLock&) = delete;
  AppendLock& operator=(const AppendLock&) = delete;

 private:
  static OVERLAPPED Place() {
    OVERLAPPED place = {};
    place.OffsetHigh = 0x3FFFFFFF;
    return place;
  }

  intptr_t handle_;
};

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
  const bool may_create = disposition != Disposition::kOpenExisting;
  const auto lock = may_create ? KeepTrueNameOfNew(*native) : TrueNamesLock();
  if (!lock) return File();
  const HANDLE handle =
      ::CreateFileW(native->path.c_str(), RightsOf(access),
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    CreationOf(disposition), FILE_ATTRIBUTE_NORMAL, nullptr);
  return File(reinterpret_cast<intptr_t>(handle));
}

bool File::is_open() const { return handle_ != kClosed; }

size_t File::Read(void* buffer, size_t size) {
  size_t total = 0;
  while (total < size) {
    DWORD got = 0;
    Check(::ReadFile(ToHandle(handle_), static_cast<char*>(buffer) + total,
                     static_cast<DWORD>(std::min(size - total, kMaxPiece)), &got, nullptr));
    if (got == 0) break;
    total += got;
  }
  return total;
}

std::string File::ReadAll() {
  const int64_t position = MovePointer(handle_, 0, FILE_CURRENT);
  std::string bytes(static_cast<size_t>(std::max<int64_t>(Size() - position, 0)), '\0');
  bytes.resize(Read(bytes.data(), bytes.size()));
  // Others may have written meanwhile.
  char piece[4096];
  while (const size_t got = Read(piece, sizeof piece)) bytes.append(piece, got);
  return bytes;
}

void File::Write(const void* data, size_t size) {
  WriteAll(handle_, static_cast<const char*>(data), size);
}

void File::Append(std::string_view bytes) {
  const AppendLock lock(handle_);
  SeekToEnd();
  WriteAll(handle_, bytes.data(), bytes.size());
}

void File::Seek(int64_t position) { MovePointer(handle_, position, FILE_BEGIN); }

int64_t File::SeekToEnd() { return MovePointer(handle_, 0, FILE_END); }

int64_t File::Size() const {
  LARGE_INTEGER size;
  Check(::GetFileSizeEx(ToHandle(handle_), &size));
  return size.QuadPart;
}

void File::SetSize(int64_t size) {
  FILE_END_OF_FILE_INFO end;
  end.EndOfFile.QuadPart = size;
  Check(::SetFileInformationByHandle(ToHandle(handle_), FileEndOfFileInfo, &end, sizeof end));
}

// One byte far behind any content is locked: readers and writers come nowhere near it.
bool File::Claim() {
  OVERLAPPED place{};
  place.OffsetHigh = 0x7FFFFFFF;
  constexpr DWORD kOrFail = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;
  return ::LockFileEx(ToHandle(handle_), kOrFail, 0, 1, 0, &place) != 0;
}

void File::Close() {
  if (is_open()) ::CloseHandle(ToHandle(std::exchange(handle_, kClosed)));
}

void File::CloseWritten() {
  if (is_open()) Check(::CloseHandle(ToHandle(std::exchange(handle_, kClosed))));
}

}  // namespace zv
