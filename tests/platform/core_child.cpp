// What tests of the basic doors need another process for:
//   core_child append HOME PATH TAG COUNT   append lines, see append_lines.h; HOME is "-" on
//   Windows core_child home EXPECTED                ends with 0 when the home folder is the one
//   expected core_child debug FILE                   writes debug output, with stderr in the file
#include <cstdio>
#include <string_view>

#include "platform/debug_output.h"
#include "tests/platform/append_lines.h"

#ifndef _WIN32
#include "platform/home.h"
#endif

namespace {

int Append(char** arguments) {
#ifndef _WIN32
  zv::testing::SetHomeFolder(arguments[0]);
#endif
  zv::testing::AppendLinesInTwoThreads(zv::FromUtf8(arguments[1]),
                                       static_cast<char16_t>(*arguments[2]),
                                       zv::ParseInt32(zv::FromUtf8(arguments[3])));
  return 0;
}

int Debug(const char* file) {
  if (!std::freopen(file, "w", stderr)) return 3;
  zv::WriteDebugOutput(u"caf\u00E9\n");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view role = argc > 1 ? argv[1] : "";
  if (role == "append" && argc == 6) return Append(argv + 2);
  if (role == "debug" && argc == 3) return Debug(argv[2]);
#ifndef _WIN32
  if (role == "home" && argc == 3) return zv::HomeFolder() == argv[2] ? 0 : 1;
#endif
  return 2;
}
