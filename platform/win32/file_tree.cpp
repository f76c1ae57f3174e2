// The part of platform/file.h that works on names: finding, listing, moving, copying.
#include <windows.h>

#include "platform/clock.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/shared/path.h"
#include "platform/shared/stored_name.h"
#include "platform/win32/long_name.h"
#include "platform/win32/native_path.h"
#include "platform/win32/wide.h"

namespace zv {
namespace {

class FindHandle {
 public:
  FindHandle(const std::wstring& pattern, WIN32_FIND_DATAW* first)
      : handle_(::FindFirstFileExW(pattern.c_str(), FindExInfoBasic, first, FindExSearchNameMatch,
                                   nullptr, 0)) {}
  ~FindHandle() {
    if (is_open()) ::FindClose(handle_);
  }
  FindHandle(const FindHandle&) = delete;
  FindHandle& operator=(const FindHandle&) = delete;

  bool is_open() const { return handle_ != INVALID_HANDLE_VALUE; }
  bool Next(WIN32_FIND_DATAW* data) const { return ::FindNextFileW(handle_, data); }

 private:
  HANDLE handle_;
};

// Both records of the system call these fields the same.
template <typename Data>
FileInfo MakeInfo(Text name, const Data& data) {
  const bool is_folder = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  const uint64_t size = (uint64_t{data.nFileSizeHigh} << 32) | data.nFileSizeLow;
  const FILETIME& time = data.ftLastWriteTime;
  return {.name = std::move(name),
          .is_folder = is_folder,
          .size = is_folder ? 0 : static_cast<int64_t>(size),
          .last_write = {(uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime}};
}

void DropIfStored(const NativePath& path) {
  const Text leaf = path.leaf();
  if (LooksStored(TextView(leaf))) DropTrueName(path.folder(), leaf);
}

Text TextNameOf(const std::wstring& folder, Text name) {
  if (!LooksStored(TextView(name))) return name;
  return TrueNameOf(folder, name).value_or(name);
}

bool IsFolder(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool PlaceNew(const std::wstring& from, const std::wstring& to) {
  return ::MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_COPY_ALLOWED);
}

// The system replaces no file that another process has open, be it for the moment in which it reads
// it or looks for viruses.
bool PlaceOver(const std::wstring& from, const std::wstring& to) {
  constexpr DWORD kFlags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED;
  constexpr int kAttempts = 6;
  constexpr uint32_t kPause = 20;  // ms
  for (int attempt = 1;; ++attempt) {
    if (::MoveFileExW(from.c_str(), to.c_str(), kFlags)) return true;
    const DWORD error = ::GetLastError();
    const bool may_be_open = error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION;
    if (!may_be_open || attempt == kAttempts || IsFolder(to)) {
      ::SetLastError(error);
      return false;
    }
    SleepMs(kPause);
  }
}

bool MoveWith(TextView from, TextView to,
              bool (*place)(const std::wstring& from, const std::wstring& to)) {
  const auto source = ToNativePath(from);
  const auto target = ToNativePath(to);
  if (!source || !target) return false;
  {
    const auto lock = KeepTrueName(target->folder(), target->long_name);
    if (!lock) return false;
    if (!place(source->path, target->path)) return false;
  }
  DropIfStored(*source);
  return true;
}

// Whether a failed look says that nothing is there, or can be. Any other failure tells nothing.
bool MeansAbsent(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_DIRECTORY:
      return true;
    default:
      return false;
  }
}

bool MakeOneFolder(const NativePath& folder) {
  if (IsFolder(folder.path)) return true;
  const auto lock = KeepTrueName(folder.folder(), folder.long_name);
  if (!lock) return false;
  if (::CreateDirectoryW(folder.path.c_str(), nullptr)) return true;
  const DWORD error = ::GetLastError();
  if (IsFolder(folder.path)) return true;  // another thread or process was faster
  ::SetLastError(error);
  return false;
}

}  // namespace

std::optional<FileInfo> FindPath(TextView path) {
  const auto native = ToNativePath(path);
  if (!native) return std::nullopt;
  // The attributes are the file's own; a folder's record of a file that is open may lag behind. But
  // the name's spelling is in the folder's record only. Attributes first: they refuse a wildcard.
  WIN32_FILE_ATTRIBUTE_DATA attributes;
  if (!::GetFileAttributesExW(native->path.c_str(), GetFileExInfoStandard, &attributes)) {
    return std::nullopt;
  }
  WIN32_FIND_DATAW data;
  const FindHandle find(native->path, &data);
  const Text name = find.is_open() ? FromWide(data.cFileName) : native->leaf();
  return MakeInfo(TextNameOf(native->folder(), name), attributes);
}

bool FileExists(TextView path) {
  const auto native = ToNativePath(path);
  return native && ::GetFileAttributesW(native->path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool IsAbsent(TextView path) {
  const auto native = ToNativePath(path);
  if (!native) return true;
  return ::GetFileAttributesW(native->path.c_str()) == INVALID_FILE_ATTRIBUTES &&
         MeansAbsent(::GetLastError());
}

std::vector<FileInfo> ListFolder(TextView folder) {
  std::vector<FileInfo> list;
  const auto native = ToNativePath(folder);
  if (!native) return list;
  std::wstring place = native->path;
  if (place.ends_with(L'\\')) place.pop_back();
  WIN32_FIND_DATAW data;
  const FindHandle find(place + L"\\*", &data);
  if (!find.is_open() && MeansAbsent(::GetLastError())) return list;
  if (!find.is_open()) ThrowLastError(ErrorKind::kFile);
  do {
    Text name = FromWide(data.cFileName);
    if (name == u"." || name == u".." || name == kTrueNamesFolder) continue;
    list.push_back(MakeInfo(TextNameOf(place, std::move(name)), data));
  } while (find.Next(&data));
  if (::GetLastError() != ERROR_NO_MORE_FILES) ThrowLastError(ErrorKind::kFile);
  return list;
}

bool MoveToNew(TextView from, TextView to) { return MoveWith(from, to, PlaceNew); }

bool MoveOver(TextView from, TextView to) { return MoveWith(from, to, PlaceOver); }

bool CopyOver(TextView from, TextView to) {
  const auto source = ToNativePath(from);
  const auto target = ToNativePath(to);
  if (!source || !target) return false;
  const auto lock = KeepTrueNameOfNew(*target);
  return lock && ::CopyFileW(source->path.c_str(), target->path.c_str(), FALSE);
}

bool RemoveFile(TextView path) {
  const auto native = ToNativePath(path);
  if (!native || !::DeleteFileW(native->path.c_str())) return false;
  DropIfStored(*native);
  return true;
}

bool MakeFolders(TextView folder) {
  const auto native = ToNativePath(folder);
  if (!native) return false;
  if (MakeOneFolder(*native)) return true;
  if (::GetLastError() != ERROR_PATH_NOT_FOUND) return false;
  while (!folder.empty() && IsPathSeparator(folder.back())) folder.remove_suffix(1);
  const TextView parent = folder.substr(0, folder.size() - LastPathElement(folder).size());
  return !parent.empty() && parent.size() < folder.size() && MakeFolders(parent) &&
         MakeOneFolder(*native);
}

std::optional<uint64_t> FreeSpace(TextView path) {
  const auto native = ToNativePath(path);
  if (!native) return std::nullopt;
  // What is still to be made will be on the disk of the nearest folder that is there.
  std::wstring folder = native->path;
  while (!IsFolder(folder)) {
    const size_t slash = folder.find_last_of(L"\\/");
    if (slash == std::wstring::npos || slash == 0) return std::nullopt;
    folder.resize(slash);
  }
  ULARGE_INTEGER available;
  if (!::GetDiskFreeSpaceExW((folder + L"\\").c_str(), &available, nullptr, nullptr)) {
    return std::nullopt;
  }
  return available.QuadPart;
}

}  // namespace zv
