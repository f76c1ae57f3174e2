#include "apps/zvdrive/commands.h"
#include "include/zvworker/zvworker.h"

namespace zv {
namespace {

std::string DescribeSignOn(uint32_t status, const std::string& server) {
  switch (status) {
    case ZV_BAD_NET_NAME:
      return "no answer from " + server + ": is the server's name right, and is it running?";
    case ZV_NO_DRIVER:
      return "the file-system driver ZVfs is not installed or not started";
    case 401:
    case 403:
      return server + " refuses this user and password (" + std::to_string(status) +
             "); set them with: zvdrive account set --user NAME";
    case 407:
      return "the proxy asks for a user and password; see zvdrive account set --help";
    default:
      return server + " answers the sign-on with status " + std::to_string(status);
  }
}

}  // namespace

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

void CreateDriveFor(const Account& account) {
  if (!account.is_complete()) {
    throw CommandError(
        "no account yet; give one with: zvdrive account set --server HOST --user NAME",
        kExitSignOn);
  }
  if (account.password.empty()) {
    const std::string user = ToUtf8(account.user);
    throw CommandError("the password of " + user +
                           " is missing; it is asked for, or taken from standard input, by: "
                           "zvdrive account set --user " +
                           user,
                       kExitSignOn);
  }
  Text local = account.drive_letter;
  Text remote = account.remote_name;
  ZvNetResource resource{};
  resource.local_name = local.data();
  resource.remote_name = remote.data();
  const uint32_t status = CreateNewDrive(&resource, account.password.c_str(), account.user.c_str());
  if (status != ZV_SUCCESS) {
    throw CommandError(DescribeSignOn(status, ToUtf8(account.server)),
                       status == ZV_NO_DRIVER ? kExitFailed : kExitSignOn);
  }
}

}  // namespace zv
