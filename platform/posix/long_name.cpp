#include "platform/posix/long_name.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>

#include "platform/posix/native_path.h"

namespace zv {
namespace {

constexpr size_t kPrefixBytes = 200;
constexpr size_t kHashDigits = 32;

// FNV-1a with 128 bits, in hexadecimal digits.
std::string HashOf(std::string_view bytes) {
  using Wide = unsigned __int128;
  Wide hash = (Wide{0x6C62272E07BB0142} << 64) | 0x62B821756295C58D;
  const Wide prime = (Wide{1} << 88) | 0x13B;
  for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * prime;
  std::string digits(kHashDigits, '0');
  for (size_t i = kHashDigits; i-- > 0; hash >>= 4) {
    digits[i] = "0123456789abcdef"[static_cast<size_t>(hash & 0xF)];
  }
  return digits;
}

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

// Written aside and moved in place, so that readers see either all of it or nothing.
void WriteSmallFile(const std::string& path, const std::string& bytes) {
  static std::atomic<uint32_t> counter = 0;
  const std::string aside = path.substr(0, path.rfind('/')) + "/new." + std::to_string(::getpid()) +
                            "." + std::to_string(++counter);
  const UniqueFd file(::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (!file) return;
  const bool written =
      ::write(file.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  if (!written || ::rename(aside.c_str(), path.c_str()) != 0) ::unlink(aside.c_str());
}

TrueNamesLock Lock(const std::string& names, int operation) {
  TrueNamesLock lock(::open(names.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (lock) ::flock(lock.get(), operation);
  return lock;
}

}  // namespace

std::string StoredNameOf(TextView long_name) {
  const std::string bytes = EncodeFileName(ToLower(long_name));
  size_t size = std::min(kPrefixBytes, bytes.size());
  while (size > 0 && size < bytes.size() && (bytes[size] & 0xC0) == 0x80) --size;
  return bytes.substr(0, size) + "~" + HashOf(bytes);
}

bool LooksStored(std::string_view name) {
  // A cut prefix is at most three bytes shorter than a whole one.
  return name.size() + 3 >= kPrefixBytes + 1 + kHashDigits &&
         name[name.size() - kHashDigits - 1] == '~';
}

std::optional<Text> TrueNameOf(const std::string& folder, std::string_view stored) {
  const auto bytes = ReadSmallFile(TrueNamesFolderOf(folder) + "/" + std::string(stored));
  if (!bytes) return std::nullopt;
  return DecodeFileName(*bytes);
}

TrueNamesLock KeepTrueName(const std::string& folder, TextView name) {
  const std::string bytes = EncodeFileName(name);
  if (bytes.size() <= kMaxNameBytes) return {};
  const std::string names = TrueNamesFolderOf(folder);
  ::mkdir(names.c_str(), 0700);
  TrueNamesLock lock = Lock(names, LOCK_SH);
  const std::string path = names + "/" + StoredNameOf(name);
  if (ReadSmallFile(path) != bytes) WriteSmallFile(path, bytes);
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
