// zvdrive: sets up an account, shows it as a drive, watches its transfers.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <functional>
#include <iostream>
#include <memory>

#include "apps/zvdrive/commands.h"
#include "apps/zvdrive/drive_commands.h"
#include "apps/zvdrive/version.h"
#include "platform/console.h"

namespace zv {
namespace {

using Run = std::function<int()>;

// Flags and texts of `account set` as they were given.
struct AccountArguments {
  AccountChanges changes;
  bool keep_password = false;
  bool proxy_password = false;
};

template <typename T>
void AddText(CLI::App& app, const std::string& name, T& target, const std::string& help) {
  app.add_option_function<std::string>(
      name, [&target](const std::string& value) { target = FromUtf8(value); }, help);
}

void AddSwitch(CLI::App& app, const std::string& name, std::optional<bool>& target,
               const std::string& help) {
  app.add_flag_function(
      name, [&target](std::int64_t count) { target = count > 0; }, help);
}

std::optional<Text> AskSecret(const std::string& prompt) {
  const auto line = ReadSecretLine(prompt);
  if (!line) throw CommandError("no password was given", kExitUsage);
  return FromUtf8(*line);
}

// What is wrong with a quota as it was given, for a person; empty when it may be a size.
std::string CheckSize(const std::string& text) {
  constexpr size_t kMostDigits = 18;
  const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  const bool has_suffix = digits < text.size() && std::isalpha(text[digits]);
  if (digits > 0 && digits <= kMostDigits && (digits == text.size() || has_suffix)) return {};
  return "a size is a whole number of bytes, 0 or more, or one with a suffix: 500M, 10G; not \"" +
         text + "\"";
}

int RunAccountSet(AccountArguments& arguments) {
  AccountChanges& changes = arguments.changes;
  if ((changes.user || changes.server) && !arguments.keep_password) {
    changes.password = AskSecret("Password: ");
  }
  if (arguments.proxy_password) changes.proxy_password = AskSecret("Proxy password: ");
  if (const std::string wrong = SetAccount(changes); !wrong.empty()) {
    throw CommandError(wrong, kExitUsage);
  }
  return kExitDone;
}

void AddAccountCommands(CLI::App& app, Run& run) {
  CLI::App* account = app.add_subcommand("account", "The account's settings");
  account->require_subcommand(1);
  auto arguments = std::make_shared<AccountArguments>();
  AccountChanges& changes = arguments->changes;
  CLI::App* set = account->add_subcommand(
      "set", "Set the account; the password comes from standard input, or is asked for");
  AddText(*set, "--server", changes.server, "Host name or address of the server");
  AddText(*set, "--user", changes.user, "User name of the account");
  set->add_flag("--keep-password", arguments->keep_password, "Do not ask for a password");
  AddSwitch(*set, "--ssl,!--no-ssl", changes.ssl, "HTTPS on port 443 (default: HTTP on port 80)");
  AddText(*set, "--proxy", changes.proxy, "HTTP proxy as HOST:PORT; \"\" for none");
  AddText(*set, "--proxy-user", changes.proxy_user, "User name for the proxy");
  set->add_flag("--proxy-password", arguments->proxy_password,
                "Ask for the proxy's password, or take it from the next line of standard input");
  AddSwitch(*set, "--relay,!--no-relay", changes.relay,
            "Send everything through the relay on 127.0.0.1:53729");
  // What is transformed last is transformed first.
  set->add_option_function<std::int64_t>(
         "--quota", [&changes](const std::int64_t& bytes) { changes.quota = bytes; },
         "Size of the account in bytes, or with a suffix: 500M, 10G")
      ->transform(CLI::AsSizeValue(false))
      ->transform(CLI::Validator(CheckSize, ""));
  AddSwitch(*set, "--cache,!--no-cache", changes.cache,
            "Compare listings with the server before they are served (default: on)");
  set->add_option_function<std::string>(
         "--type", [&changes](const std::string& type) { changes.sync = type == "sync"; },
         "Account type")
      ->check(CLI::IsMember({"ordinary", "sync"}));
  AddText(*set, "--drive", changes.drive_letter, "Drive letter and colon (default: Z:)");
  AddText(*set, "--application-path", changes.application_path,
          "Folder that holds the cache (default: C:\\ZVWorker)");
  set->callback([arguments, &run] { run = [arguments] { return RunAccountSet(*arguments); }; });

  CLI::App* show = account->add_subcommand("show", "Show the account, without its secrets");
  show->callback([&run] {
    run = [] {
      std::cout << DescribeAccount();
      return kExitDone;
    };
  });
}

void AddTransferCommands(CLI::App& app, Run& run) {
  auto size_path = std::make_shared<std::string>();
  CLI::App* size = app.add_subcommand("size", "Size of a folder with all beneath it, in bytes");
  size->add_option("path", *size_path, "Path in the account, for example /Docs")->required();
  size->callback([size_path, &run] { run = [size_path] { return RunFolderSize(*size_path); }; });

  auto progress_options = std::make_shared<ProgressOptions>();
  CLI::App* progress = app.add_subcommand("progress", "The transfer under way, in any process");
  progress->add_flag("-w,--watch", progress_options->watch, "Go on until Ctrl-C");
  progress->add_flag("--json", progress_options->json, "For programs");
  progress->callback([progress_options, &run] {
    run = [progress_options] { return RunProgress(*progress_options); };
  });

  auto cancel_name = std::make_shared<std::string>();
  CLI::App* cancel = app.add_subcommand("cancel", "Cancel the transfer under way");
  cancel->add_option("name", *cancel_name, "Only if it is this one, as `progress` shows it");
  cancel->callback(
      [cancel_name, &run] { run = [cancel_name] { return RunCancel(*cancel_name); }; });

  auto json = std::make_shared<bool>(false);
  CLI::App* pending =
      app.add_subcommand("pending", "What was written and is not on the server yet");
  pending->add_flag("--json", *json, "For programs");
  pending->callback([json, &run] { run = [json] { return RunPending(*json); }; });
}

int Main(int argc, char** argv) {
  CLI::App app("Shows an online storage account as a drive.", "zvdrive");
  app.set_version_flag("--version", std::string("zvdrive ") + kVersion);
  app.require_subcommand(1);
  app.footer("Exit codes: 0 done, 1 failed, 2 wrong usage, 3 not found, 4 sign-on failed.");
  Run run;
  AddAccountCommands(app, run);
  AddDriveCommands(app, run);
  AddTransferCommands(app, run);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitDone : kExitUsage;
  }
  return run();
}

}  // namespace
}  // namespace zv

int main(int argc, char** argv) {
  try {
    return zv::Main(argc, argv);
  } catch (const zv::CommandError& error) {
    std::cerr << "zvdrive: " << error.what() << "\n";
    return error.exit_code();
  } catch (const std::exception& error) {
    std::cerr << "zvdrive: " << error.what() << "\n";
    return zv::kExitFailed;
  }
}
