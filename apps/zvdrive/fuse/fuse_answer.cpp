#include "apps/zvdrive/fuse/fuse_answer.h"

#include <cerrno>
#include <new>

#include "driver/protocol.h"

namespace zv {
namespace {

int ErrnoOf(DriveError error) {
  switch (error) {
    case DriveError::kNone:
      return 0;
    case DriveError::kNotFound:
      return ENOENT;
    case DriveError::kExists:
      return EEXIST;
    case DriveError::kIo:
    case DriveError::kNotStored:
      return EIO;
    case DriveError::kNoSpace:
      return ENOSPC;
    case DriveError::kTooBig:
      return EFBIG;
    case DriveError::kNotEmpty:
      return ENOTEMPTY;
    case DriveError::kIsFolder:
      return EISDIR;
    case DriveError::kNotFolder:
      return ENOTDIR;
    case DriveError::kInvalidName:
    case DriveError::kIntoItself:
      return EINVAL;
    case DriveError::kNameTooLong:
      return ENAMETOOLONG;
    case DriveError::kNotUnique:
      return ENOTUNIQ;
    case DriveError::kNotPermitted:
      return EPERM;
    case DriveError::kInterrupted:
      return EINTR;
  }
  return EIO;
}

}  // namespace

int ResultOf(DriveError error) { return -ErrnoOf(error); }

Text PathOnDrive(const char* path) {
  const Text text = FromUtf8(path);
  if (ToUtf8(text) != path) throw PathError{EILSEQ};
  if (text.find(u'\\') != Text::npos) throw PathError{EINVAL};
  if (text.size() >= kPathUnits) throw PathError{ENAMETOOLONG};
  return ReplaceAll(text, u'/', u'\\');
}

std::string PathOnMount(TextView path) { return ToUtf8(ReplaceAll(path, u'\\', u'/')); }

int ResultOfException() noexcept {
  try {
    throw;
  } catch (const PathError& error) {
    return -error.error;
  } catch (const std::bad_alloc&) {
    return -ENOMEM;
  } catch (...) {
    return -EIO;
  }
}

}  // namespace zv
