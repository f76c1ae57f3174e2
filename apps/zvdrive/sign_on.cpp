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
