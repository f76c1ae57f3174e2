// append_child HOME PATH TAG COUNT: the other process of the append test. HOME is "-" on Windows.
#include "tests/platform/append_lines.h"

#ifndef _WIN32
#include "platform/home.h"
#endif

int main(int argc, char** argv) {
  if (argc != 5) return 2;
#ifndef _WIN32
  zv::testing::SetHomeFolder(argv[1]);
#endif
  zv::testing::AppendLinesInTwoThreads(zv::FromUtf8(argv[2]), static_cast<char16_t>(*argv[3]),
                                       zv::ParseInt32(zv::FromUtf8(argv[4])));
  return 0;
}
