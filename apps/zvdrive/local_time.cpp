#include "apps/zvdrive/local_time.h"

#include <array>
#include <ctime>

namespace zv {

std::string FormatTime(Seconds1601 time, TimeDetail detail) {
  const char* const format =
      detail == TimeDetail::kSeconds ? "%Y-%m-%d %H:%M:%S" : "%Y-%m-%d %H:%M";
  const std::time_t seconds = ToUnix(time);
  std::array<char, 32> text{};
  if (const std::tm* local = std::localtime(&seconds)) {
    std::strftime(text.data(), text.size(), format, local);
  }
  return text.data();
}

}  // namespace zv
