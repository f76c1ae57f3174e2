#include <cstdio>
#include <cstdlib>

#include "platform/shared/debug_sink.h"

namespace zv {

void WriteToDebugSink(TextView text) {
  static const bool wanted = std::getenv("ZVWORKER_DEBUG") != nullptr;
  if (!wanted) return;
  const std::string bytes = ToUtf8(text);
  std::fwrite(bytes.data(), 1, bytes.size(), stderr);
}

}  // namespace zv
