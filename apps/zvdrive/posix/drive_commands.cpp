#include "apps/zvdrive/drive_commands.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "apps/zvdrive/commands.h"

namespace zv {

void AddDriveCommands(CLI::App& app, std::function<int()>& run) {
  auto mount_options = std::make_shared<MountCommandOptions>();
  CLI::App* mount = app.add_subcommand("mount", "Mount the account on a folder until Ctrl-C");
  mount->add_option("folder", mount_options->folder, "An existing, empty folder")->required();
  mount->add_flag("--allow-other", mount_options->allow_other,
                  "Let other users of this machine in");
  mount->add_flag("--read-only", mount_options->read_only, "Refuse every change, and send nothing");
  mount->add_flag("--own-reads", mount_options->own_reads,
                  "Answer every read, also where the kernel could read the cache itself");
  mount
      ->add_option("--listing-seconds", mount_options->listing_seconds,
                   "Seconds for which a listing answers the look-ups and listings that follow it")
      ->check(CLI::Range(0, 3600))
      ->capture_default_str();
  mount
      ->add_option("--retry-minutes", mount_options->retry_minutes,
                   "Minutes between attempts to send what is not on the server yet")
      ->check(CLI::Range(1, 1440))
      ->capture_default_str();
  mount->callback(
      [mount_options, &run] { run = [mount_options] { return RunMount(*mount_options); }; });

  auto list_options = std::make_shared<ListOptions>();
  CLI::App* list = app.add_subcommand("ls", "List a folder of the account, without a mount");
  list->add_option("path", list_options->path, "Path in the account")->capture_default_str();
  list->add_flag("-l,--long", list_options->long_form, "Sizes and times as well");
  list->add_flag("--json", list_options->json, "For programs");
  list->callback([list_options, &run] { run = [list_options] { return RunList(*list_options); }; });

  CLI::App* space = app.add_subcommand("space", "Quota and used space of the account");
  space->callback([&run] { run = RunSpace; });
}

}  // namespace zv
