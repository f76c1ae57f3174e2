#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "tests/platform/child_process.h"

namespace zv::testing {

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {std::filesystem::read_symlink("/proc/self/exe").parent_path() /
                                    program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_t id = 0;
  if (::posix_spawn(&id, argv[0], nullptr, nullptr, argv.data(), environ) != 0) {
    throw std::runtime_error("cannot start " + words[0]);
  }
  handle_ = id;
}

ChildProcess::~ChildProcess() { Wait(); }

int ChildProcess::Wait() {
  int status = 0;
  if (handle_ != 0 && ::waitpid(static_cast<pid_t>(handle_), &status, 0) == handle_) {
    exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  handle_ = 0;
  return exit_code_;
}

}  // namespace zv::testing
