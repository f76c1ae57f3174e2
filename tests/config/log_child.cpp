// log_child HOME FILE FIRST COUNT: the other process of the shared log's test. HOME is "-" on
// Windows.
#include "tests/config/log_lines.h"

#ifndef _WIN32
#include "platform/home.h"
#endif

int main(int argc, char** argv) {
  if (argc != 5) return 2;
#ifndef _WIN32
  zv::testing::SetHomeFolder(argv[1]);
#endif
  const auto number = [&](int index) { return zv::ParseInt32(zv::FromUtf8(argv[index])); };
  zv::testing::WriteLinesInTwoThreads(zv::FromUtf8(argv[2]), number(3), number(4));
  return 0;
}
