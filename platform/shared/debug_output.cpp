#include "platform/debug_output.h"

#include <mutex>
#include <utility>

#include "platform/shared/debug_sink.h"

namespace zv {
namespace {

struct ObserverSlot {
  std::mutex mutex;
  std::function<void(TextView)> observer;
};

ObserverSlot& Slot() {
  static ObserverSlot slot;
  return slot;
}

}  // namespace

void WriteDebugOutput(TextView text) {
  WriteToDebugSink(text);
  std::function<void(TextView)> observer;
  {
    const std::lock_guard lock(Slot().mutex);
    observer = Slot().observer;
  }
  if (observer) observer(text);
}

namespace testing {

void SetDebugOutputObserver(std::function<void(TextView)> observer) {
  const std::lock_guard lock(Slot().mutex);
  Slot().observer = std::move(observer);
}

}  // namespace testing
}  // namespace zv
