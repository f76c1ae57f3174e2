// The test program's entry: the tests, or the role of a second process.
#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "tests/platform/system_fixture.h"

namespace {

using Arguments = std::vector<std::string>;

int RunChild(const std::string& role, const Arguments& arguments) {
  const std::map<std::string, std::function<int(const Arguments&)>> roles = {
      {"write_registry_values", zv::testing::WriteRegistryValues},
      {"answer_in_shared_memory", zv::testing::AnswerInSharedMemory},
  };
  const auto found = roles.find(role);
  return found == roles.end() ? 2 : found->second(arguments);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2 && std::string_view(argv[1]) == "--child") {
    return RunChild(argv[2], Arguments(argv + 3, argv + argc));
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
