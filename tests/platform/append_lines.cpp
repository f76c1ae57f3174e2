#include "tests/platform/append_lines.h"

#include "platform/file.h"
#include "platform/format.h"
#include "platform/thread.h"

namespace zv::testing {

void AppendLinesInTwoThreads(const Text& path, char16_t tag, int count) {
  const auto start = [&](int thread) {
    return Thread::Start([=] {
      for (int i = 0; i < count; ++i) {
        File file = File::Open(path, Access::kReadWrite, Disposition::kOpenAlways);
        file.Append(ToUtf8(Format(u"%c%d-%d\r\n", tag, thread, i)));
      }
      return 0u;
    });
  };
  Thread threads[] = {start(1), start(2)};
  WaitForAll(threads);
}

}  // namespace zv::testing
