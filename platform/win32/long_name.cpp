#include "platform/win32/long_name.h"

#include <atomic>

#include "platform/shared/stored_name.h"
#include "platform/win32/wide.h"

namespace zv {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::wstring TrueNamesFolderOf(const std::wstring& folder) {
  return folder + L"\\" + ToWide(kTrueNamesFolder);
}

UniqueHandle OpenSmallFile(const std::wstring& path, DWORD rights, DWORD creation) {
  return UniqueHandle(::CreateFileW(path.c_str(), rights, kShareAll, nullptr, creation,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::optional<Text> ReadName(const std::wstring& path) {
  const UniqueHandle file = OpenSmallFile(path, GENERIC_READ, OPEN_EXISTING);
  LARGE_INTEGER size;
  if (!file || !::GetFileSizeEx(file.get(), &size) || size.QuadPart > 65536) return std::nullopt;
  std::string bytes(static_cast<size_t>(size.QuadPart), '\0');
  DWORD got = 0;
  if (!::ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr)) {
    return std::nullopt;
  }
  bytes.resize(got);
  return FromUtf16LeBytes(bytes);
}

// False with the last error.
bool WriteWhole(const std::wstring& path, const std::string& bytes) {
  const UniqueHandle file = OpenSmallFile(path, GENERIC_WRITE, CREATE_ALWAYS);
  if (!file) return false;
  const auto size = static_cast<DWORD>(bytes.size());
  DWORD put = 0;
  if (!::WriteFile(file.get(), bytes.data(), size, &put, nullptr)) return false;
  if (put != size) ::SetLastError(ERROR_DISK_FULL);
  return put == size;
}

// Written aside and moved in place, so that readers see either all of it or nothing. False with the
// last error.
bool WriteName(const std::wstring& folder, const std::wstring& leaf, TextView name) {
  static std::atomic<uint32_t> counter = 0;
  const std::wstring aside = folder + L"\\new." + std::to_wstring(::GetCurrentProcessId()) + L"." +
                             std::to_wstring(++counter);
  if (WriteWhole(aside, ToUtf16LeBytes(name)) &&
      ::MoveFileExW(aside.c_str(), (folder + L"\\" + leaf).c_str(), MOVEFILE_REPLACE_EXISTING)) {
    return true;
  }
  const DWORD error = ::GetLastError();
  ::DeleteFileW(aside.c_str());
  ::SetLastError(error);
  return false;
}

// Held until the handle is closed.
TrueNamesLock Lock(const std::wstring& names, DWORD creation, DWORD flags) {
  TrueNamesLock lock = OpenSmallFile(names + L"\\lock", GENERIC_READ | GENERIC_WRITE, creation);
  OVERLAPPED place = {};
  if (lock) ::LockFileEx(lock.get(), flags, 0, 1, 0, &place);
  return lock;
}

}  // namespace

std::optional<Text> TrueNameOf(const std::wstring& folder, TextView stored) {
  return ReadName(TrueNamesFolderOf(folder) + L"\\" + ToWide(stored));
}

std::optional<TrueNamesLock> KeepTrueName(const std::wstring& folder, TextView name) {
  if (name.size() <= kMaxNameUnits) return TrueNamesLock();
  const std::wstring names = TrueNamesFolderOf(folder);
  if (::CreateDirectoryW(names.c_str(), nullptr)) {
    ::SetFileAttributesW(names.c_str(), FILE_ATTRIBUTE_HIDDEN);
  }
  TrueNamesLock lock = Lock(names, OPEN_ALWAYS, 0);
  if (!lock) return std::nullopt;
  const std::wstring leaf = ToWide(StoredNameOf(name));
  if (ReadName(names + L"\\" + leaf) != name && !WriteName(names, leaf, name)) return std::nullopt;
  return lock;
}

std::optional<TrueNamesLock> KeepTrueNameOfNew(const NativePath& file) {
  if (file.long_name.empty()) return TrueNamesLock();
  if (::GetFileAttributesW(file.path.c_str()) != INVALID_FILE_ATTRIBUTES) return TrueNamesLock();
  return KeepTrueName(file.folder(), file.long_name);
}

void DropTrueName(const std::wstring& folder, TextView stored) {
  const std::wstring names = TrueNamesFolderOf(folder);
  const TrueNamesLock lock = Lock(names, OPEN_EXISTING, LOCKFILE_EXCLUSIVE_LOCK);
  if (!lock) return;
  const std::wstring leaf = L"\\" + ToWide(stored);
  if (::GetFileAttributesW((folder + leaf).c_str()) == INVALID_FILE_ATTRIBUTES) {
    ::DeleteFileW((names + leaf).c_str());
  }
}

}  // namespace zv
