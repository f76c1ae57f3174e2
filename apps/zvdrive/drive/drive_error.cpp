#include "apps/zvdrive/drive/drive_error.h"

namespace zv {

std::string DescribeError(DriveError error) {
  switch (error) {
    case DriveError::kNone:
      return "done";
    case DriveError::kNotFound:
      return "not found";
    case DriveError::kExists:
      return "it exists already";
    case DriveError::kIo:
      return "the server or the cache failed (see UserLog.txt)";
    case DriveError::kNoSpace:
      return "the disk of the cache is full";
    case DriveError::kNotStored:
      return "not on the server yet; it is kept and tried again";
    case DriveError::kTooBig:
      return "files of 2 GiB and more cannot be served";
    case DriveError::kNotEmpty:
      return "the folder is not empty";
    case DriveError::kIsFolder:
      return "it is a folder";
    case DriveError::kNotFolder:
      return "it is not a folder";
    case DriveError::kInvalidName:
      return "the drive cannot hold this name";
    case DriveError::kNameTooLong:
      return "the path is too long";
    case DriveError::kNotUnique:
      return "another file has the same name in the cache";
    case DriveError::kIntoItself:
      return "a folder cannot be moved into itself";
    case DriveError::kNotPermitted:
      return "not possible for the root";
    case DriveError::kInterrupted:
      return "interrupted";
  }
  return "unknown error";
}

}  // namespace zv
