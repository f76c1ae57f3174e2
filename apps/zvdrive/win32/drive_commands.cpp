#include "apps/zvdrive/drive_commands.h"

#include <CLI/CLI.hpp>
#include <atomic>
#include <iostream>
#include <memory>

#include "apps/zvdrive/commands.h"
#include "apps/zvdrive/stop_signal.h"
#include "apps/zvdrive/transfer_stopper.h"
#include "include/zvworker/zvworker.h"
#include "platform/clock.h"
#include "platform/thread.h"

namespace zv {

void AddDriveCommands(CLI::App& app, std::function<int()>& run) {
  CLI::App* serve = app.add_subcommand("serve", "Create the drive and serve it until Ctrl-C");
  serve->callback([&run] { run = RunServe; });
}

// Without a driver nothing can be looked up, and to the script an empty folder and a failure are
// both 0.
int RunFolderSize(const std::string& path) {
  const int64_t bytes = GetFolderSize(FromUtf8(path).c_str());
  if (bytes <= 0) {
    throw CommandError(path + ": empty or not there, or the server's folder-size script, asked " +
                       "over TLS on port 443, gives no answer");
  }
  std::cout << bytes << "\n";
  return kExitDone;
}

int RunServe() {
  constexpr uint32_t kPollInterval = 100;  // ms
  CatchStopSignals();
  const Account account = ReadAccount();
  CreateDriveFor(account);
  // Shared: the loops go on when the drive cannot be removed.
  const auto ended = std::make_shared<std::atomic<bool>>(false);
  Thread polling = Thread::Start([ended] {
    const uint32_t result = StartPolling();
    *ended = true;
    return result;
  });
  std::cout << "serving " << ToUtf8(account.drive_letter) << "\n" << std::flush;
  while (!*ended && !StopWasAsked()) SleepMs(kPollInterval);
  const TransferStopper stopper;
  if (DeleteNewDrive(account.drive_letter.c_str()) != ZV_SUCCESS && !*ended) {
    throw CommandError("the drive could not be removed");
  }
  polling.Join();
  return kExitDone;
}

}  // namespace zv
