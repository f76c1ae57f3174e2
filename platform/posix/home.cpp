#include "platform/home.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "platform/posix/home_change.h"

namespace zv {
namespace {

struct HomeState {
  std::mutex mutex;
  std::string folder;  // empty until asked for
  std::vector<std::function<void()>> actions;
};

HomeState& State() {
  static HomeState state;
  return state;
}

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::string FolderFromEnvironment() {
  if (std::string home = Variable("ZVWORKER_HOME"); !home.empty()) return home;
  // A relative one is invalid by the XDG base directory rules.
  if (const std::string data = Variable("XDG_DATA_HOME"); data.starts_with('/')) {
    return data + "/zvworker";
  }
  return Variable("HOME") + "/.local/share/zvworker";
}

std::string MakeAbsolute(std::string folder) {
  if (!folder.starts_with('/')) {
    char current[PATH_MAX];
    if (::getcwd(current, sizeof current)) folder = std::string(current) + "/" + folder;
  }
  while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  return folder;
}

// Makes the folder with its parents. Errors show when something is opened in it.
void MakeWithParents(const std::string& folder) {
  for (size_t slash = folder.find('/', 1);; slash = folder.find('/', slash + 1)) {
    ::mkdir(folder.substr(0, slash).c_str(), 0700);
    if (slash == std::string::npos) return;
  }
}

// The folder under its one true name: processes that spell it otherwise share what is named by it.
std::string Prepare(const std::string& folder) {
  const std::string absolute = MakeAbsolute(folder);
  MakeWithParents(absolute);
  char resolved[PATH_MAX];
  return ::realpath(absolute.c_str(), resolved) ? resolved : absolute;
}

}  // namespace

std::string HomeFolder() {
  HomeState& state = State();
  const std::lock_guard lock(state.mutex);
  if (state.folder.empty()) state.folder = Prepare(FolderFromEnvironment());
  return state.folder;
}

void OnHomeChange(std::function<void()> action) {
  HomeState& state = State();
  const std::lock_guard lock(state.mutex);
  state.actions.push_back(std::move(action));
}

namespace testing {

void SetHomeFolder(const std::string& folder) {
  HomeState& state = State();
  std::vector<std::function<void()>> actions;
  {
    const std::lock_guard lock(state.mutex);
    state.folder = Prepare(folder);
    actions = state.actions;
  }
  for (const auto& action : actions) action();
}

}  // namespace testing
}  // namespace zv
