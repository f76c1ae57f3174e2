// The program's commands. Each gives the exit code or throws CommandError.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "apps/zvdrive/account.h"

namespace zv {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitNotFound = 3;
inline constexpr int kExitSignOn = 4;

// What went wrong and what to do about it, for a person.
class CommandError : public std::runtime_error {
 public:
  explicit CommandError(const std::string& text, int exit_code = kExitFailed)
      : std::runtime_error(text), exit_code_(exit_code) {}
  int exit_code() const { return exit_code_; }

 private:
  int exit_code_;
};

inline constexpr std::string_view kUnreadableList =
    "what waits to be sent cannot be told: its list cannot be read";

// Signs on to the account of the settings: creates the drive through the worker.
void CreateDriveFor(const Account& account);

struct ListOptions {
  std::string path = "/";
  bool long_form = false;
  bool json = false;
};
struct MountCommandOptions {
  std::string folder;
  bool allow_other = false;
  bool read_only = false;
  bool own_reads = false;
  int retry_minutes = 5;
  int listing_seconds = 2;
};
struct ProgressOptions {
  bool watch = false;
  bool json = false;
};

int RunList(const ListOptions& options);
int RunSpace();
int RunMount(const MountCommandOptions& options);
int RunServe();
int RunFolderSize(const std::string& path);
int RunProgress(const ProgressOptions& options);
int RunCancel(const std::string& name);
int RunPending(bool json);

}  // namespace zv
