// log_child FILE FIRST COUNT: the other process of the shared log's test, in the same home.
#include "tests/config/log_lines.h"

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const auto number = [&](int index) { return zv::ParseInt32(zv::FromUtf8(argv[index])); };
  zv::testing::WriteLinesInTwoThreads(zv::FromUtf8(argv[1]), number(2), number(3));
  return 0;
}
