#include "platform/utility_library.h"

#include <mutex>
#include <optional>

#include "platform/shared/utility_loader.h"

namespace zv {
namespace {

struct State {
  std::mutex mutex;
  std::optional<UtilityLibrary> stand_in;
  bool tried = false;
  UtilityModule module;
};

State& TheState() {
  static State state;
  return state;
}

template <typename Function>
void Bind(const UtilityModule& module, const UtilityEntry& entry, Function* function) {
  *function = reinterpret_cast<Function>(FindUtilityEntry(module, entry));
}

UtilityLibrary BindAll(const UtilityModule& module) {
  UtilityLibrary library;
  Bind(module, kUtilityList, &library.list);
  Bind(module, kUtilityRelease, &library.release);
  Bind(module, kUtilityDownload, &library.download);
  Bind(module, kUtilityUpload, &library.upload);
  Bind(module, kUtilityCreateFolder, &library.create_folder);
  Bind(module, kUtilityRename, &library.rename);
  Bind(module, kUtilityDelete, &library.remove);
  return library;
}

}  // namespace

UtilityLibrary GetUtilityLibrary(bool retry, Text* failure) {
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  if (state.stand_in) return *state.stand_in;
  if (!state.module.handle && (retry || !state.tried)) {
    state.module = LoadUtilityModule();
    state.tried = true;
  }
  if (failure) *failure = state.module.failure;
  if (!state.module.handle) return {};
  return BindAll(state.module);
}

namespace testing {

void SetUtilityLibrary(const UtilityLibrary* library) {
  State& state = TheState();
  const std::lock_guard lock(state.mutex);
  state.stand_in = library ? std::optional(*library) : std::nullopt;
}

}  // namespace testing
}  // namespace zv
