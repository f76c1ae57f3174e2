#include "tests/platform/second_process.h"

#include <utility>

#ifdef _WIN32
#include <windows.h>

#include <process.h>
#else
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace zv::testing {
namespace {

std::vector<char*> Pointers(std::vector<std::string>& arguments) {
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  return pointers;
}

#ifdef _WIN32
long long Start(std::vector<std::string> arguments) {
  char program[MAX_PATH] = {};
  GetModuleFileNameA(nullptr, program, sizeof program);
  return _spawnv(_P_NOWAIT, program, Pointers(arguments).data());
}

int WaitFor(long long process) {
  int code = -1;
  return _cwait(&code, process, 0) == -1 ? -1 : code;
}
#else
long long Start(std::vector<std::string> arguments) {
  pid_t process = -1;
  const int error = posix_spawn(&process, "/proc/self/exe", nullptr, nullptr,
                                Pointers(arguments).data(), environ);
  return error == 0 ? process : -1;
}

int WaitFor(long long process) {
  int status = 0;
  if (waitpid(static_cast<pid_t>(process), &status, 0) < 0 || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}
#endif

}  // namespace

SecondProcess::SecondProcess(std::vector<std::string> role_and_arguments) {
  std::vector<std::string> arguments = {"test", "--child"};
  for (std::string& argument : role_and_arguments) arguments.push_back(std::move(argument));
  process_ = Start(std::move(arguments));
}

SecondProcess::SecondProcess(SecondProcess&& other) noexcept
    : process_(std::exchange(other.process_, -1)) {}

SecondProcess::~SecondProcess() { Wait(); }

int SecondProcess::Wait() {
  const long long process = std::exchange(process_, -1);
  return process == -1 ? -1 : WaitFor(process);
}

}  // namespace zv::testing
