// What the tests of the system's stores have in common: a home of their own, and roles for a second
// process.
#pragma once

#include <string>
#include <vector>

#include "platform/text.h"

namespace zv::testing {

// On Linux: a fresh home folder for the life of the object, removed with its shared block. On
// Windows the machine that the test runs on is its own, and this does nothing.
class TemporaryHome {
 public:
  TemporaryHome();
  ~TemporaryHome();
  TemporaryHome(const TemporaryHome&) = delete;
  TemporaryHome& operator=(const TemporaryHome&) = delete;

  // What a child process passes to UseHome to stand in the same home.
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

void UseHome(const std::string& name);

// A text as the registry keeps it, with its terminator.
inline std::string Stored(TextView text) { return ToUtf16LeBytes(Text(text) + u'\0'); }

inline constexpr TextView kTestKey = u"Software\\ZVWorkerTests";

// Roles of a second process: the home's name, then the role's own arguments; the exit code.
int WriteRegistryValues(const std::vector<std::string>& arguments);
int AnswerInSharedMemory(const std::vector<std::string>& arguments);

}  // namespace zv::testing
