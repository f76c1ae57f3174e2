// Writes docs/configuration.md, whose tables are the settings table of config/.
#include <iostream>
#include <string>

#include "config/settings.h"

namespace zv {
namespace {

constexpr char kBeginning[] =
    R"(# Configuration

<!-- Written from the settings table (config/settings.cpp): cmake --build build/linux-debug --target configuration_page -->

Settings are text values in the current user's registry, below one key:

    Software\Orve-Lan\Cirrux

On Windows that is a key of `HKEY_CURRENT_USER`. On Linux it is a store of the same shape in the file `registry.db` of
ZVWorker's folder: `$ZVWORKER_HOME`, or `$XDG_DATA_HOME/zvworker`, or `~/.local/share/zvworker`. `zvdrive account set`
writes the settings on both systems, `zvdrive account show` prints them without their secrets.

Every call reads what it needs anew: a change counts from the next call on. For a drive that is served, user, server,
proxy, `Intelligent Cache` and the cache's folder are read once, when serving begins (`StartPolling`); a change of them
counts when it begins again. What compares a file or a folder with the server has a connection of its own and reads them
each time; `Account_Type`, `Local Name`, `UNC Server`, `UNC Share`, the quotas and what only sync accounts have are read
at each use. The keys `\Connection Parameters` and `\Settings` must both exist.

A value counts when it is of the type `REG_SZ` or `REG_EXPAND_SZ` (not expanded) and holds at most 509 characters and
its terminator (`Quota` 49, `CurrentUser` 519, `OLdUsedQuota` 999). Any other value, and a missing one, reads as empty:
where a number is meant, as 0.
)";

constexpr char kEnd[] = R"(
`<user>` is the text of `UserName`, `<CurrentUser>` that of `CurrentUser`. When both are the same name, as
`zvdrive account set` makes them, server and script server are one host in one value. The ";" must be there.

A value of the kind "secret" hides its text from a glance and protects nothing: see `security.md`.
)";

std::string Cell(TextView text) {
  std::string cell;
  for (const char unit : ToUtf8(text))
    cell += unit == '|' ? std::string("\\|") : std::string(1, unit);
  return cell;
}

std::string CodeCell(TextView text) { return text.empty() ? "" : "`" + Cell(text) + "`"; }

void PrintTables() {
  TextView sub_key;
  for (const SettingInfo& setting : AllSettings()) {
    if (setting.sub_key != sub_key) {
      sub_key = setting.sub_key;
      std::cout << "\n## `" << ToUtf8(sub_key) << "`\n\n"
                << "| value | kind | when missing | meaning |\n|---|---|---|---|\n";
    }
    std::cout << "| " << CodeCell(setting.name) << " | " << Cell(setting.unit) << " | "
              << CodeCell(setting.fallback) << " | " << Cell(setting.help) << " |\n";
  }
}

}  // namespace
}  // namespace zv

int main() {
  std::cout << zv::kBeginning;
  zv::PrintTables();
  std::cout << zv::kEnd;
  return std::cout.flush() ? 0 : 1;
}
