// Files by Windows path. On Linux a path such as C:\Apps\Host\x maps its drive letter to the folder
// <home>/drives/C (home: platform/home.h), backslashes separate, and a look-up of each element that
// fails exactly is tried again case-blind, since the product's names are case-blind. A path without
// a drive letter that begins with a backslash is at the root of drive C; a relative one is below
// the root of drive C, too. On both systems "/" separates as well, "." and ".." are followed by
// their words, dots and blanks at the end of a name belong to it, and files are opened binary and
// share everything with others.
//
// A name that is too long for the disk, one of more than 255 UTF-8 bytes on Linux or 255 units on
// Windows, is stored under its beginning and a hash, with the true name kept in the hidden folder
// ".zvnames" beside it; no function here shows the difference. An unpaired surrogate in a name
// comes back as it went. A path may have 32,767 units on Windows and 4,095 bytes, stored, on Linux.
//
// Thread rule: a File belongs to one thread at a time; the free functions may be called from any.
// Failure: results as said, with LastError() set; a read or write that breaks off throws
// Error(kFile).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/text.h"

namespace zv {

enum class Access { kRead, kWrite, kReadWrite };

enum class Disposition {
  kOpenExisting,  // fails when missing, keeps contents
  kOpenAlways,    // creates when missing, keeps contents
  kCreateAlways,  // creates when missing, empties otherwise
};

class File {
 public:
  File() = default;
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  ~File();

  // A file that is_open(), or one that is not, with LastError() set.
  static File Open(TextView path, Access access, Disposition disposition);

  bool is_open() const;
  explicit operator bool() const { return is_open(); }

  // Bytes read; fewer than asked only at the end of the file.
  size_t Read(void* buffer, size_t size);
  // Everything from the current position to the end.
  std::string ReadAll();
  void Write(const void* data, size_t size);
  void Write(std::string_view bytes) { Write(bytes.data(), bytes.size()); }
  // Appends in one atomic step: no other writer's bytes, of any thread or process that also appends
  // this way, come between or are overwritten. The position afterwards is behind the bytes.
  // Needs kWrite or kReadWrite.
  void Append(std::string_view bytes);

  // Byte position from the start; a negative one throws.
  void Seek(int64_t position);
  int64_t SeekToEnd();
  int64_t Size() const;
  // Cuts or fills up with zeros. The position stays.
  void SetSize(int64_t size);
  // Marks the file as this object's until it is closed, or its process has ended. False when it is
  // another's, of any process. Keeps nobody from reading or writing. Needs kWrite or kReadWrite.
  bool Claim();
  void Close();
  // The same for a file that was written. Throws where the system tells only now that it cannot
  // keep what was written: a disk behind a network may be full. There is no buffer here, and
  // nothing is forced out of the system's memory to the disk.
  void CloseWritten();

 private:
  explicit File(intptr_t handle) : handle_(handle) {}
  intptr_t handle_ = -1;
};

struct FileInfo {
  Text name;  // leaf name as it stands on the disk
  bool is_folder = false;
  int64_t size = 0;  // bytes
  FileTime last_write;
};

// What stands under the path; nullopt (and LastError()) when nothing does, or the system does not
// tell.
std::optional<FileInfo> FindPath(TextView path);
// Whether a file or a folder was seen there, and whether it was seen that there is none. Neither is
// so when the system does not tell, for want of a right, of memory or of a sound disk.
bool FileExists(TextView path);
bool IsAbsent(TextView path);
// All files and folders directly in a folder, "." and ".." left out, in no order. A missing folder
// gives none; one that the system does not tell whole throws Error(kFile).
std::vector<FileInfo> ListFolder(TextView folder);

// A plain move fails when the target exists, on every system, with kErrorAlreadyExists; MoveOver
// replaces a file, on Windows one that others have open only when they close it within 100 ms. A
// move to another spelling of the same name is no collision.
bool MoveToNew(TextView from, TextView to);
bool MoveOver(TextView from, TextView to);
// Copies contents and last-write time, replacing an existing file; fails for a file onto itself.
bool CopyOver(TextView from, TextView to);
bool RemoveFile(TextView path);
// Makes a folder with every missing parent; true when it stands afterwards.
bool MakeFolders(TextView folder);

// Bytes free for this user on the disk that holds, or would hold, the file or folder of the path;
// nullopt when it cannot be told.
std::optional<uint64_t> FreeSpace(TextView path);

}  // namespace zv
