#include "tests/config/log_lines.h"

#include <thread>

#include "config/log.h"

namespace zv::testing {
namespace {

void WriteLines(TextView file_name, int first, int count) {
  CLogEvent log(file_name);
  for (int number = first; number < first + count; ++number) {
    log.WriteTraceText(ShortLine(number));
  }
}

}  // namespace

Text ShortLine(int number) {
  constexpr int kBase = 64;
  Text line;
  for (int digit = 0; digit < 3; ++digit, number /= kBase) {
    line += static_cast<char16_t>(u'0' + number % kBase);
  }
  return line;
}

void WriteLinesInTwoThreads(TextView file_name, int first, int count) {
  std::thread other([&] { WriteLines(file_name, first + count, count); });
  WriteLines(file_name, first, count);
  other.join();
}

}  // namespace zv::testing
