// Failures in the middle of an operation, wherever it asks for memory. A program that links this
// has its operator new replaced.
#pragma once

#include <cstddef>
#include <functional>
#include <new>
#include <optional>
#include <vector>

#include "platform/error.h"
#include "tests/support/test_home.h"

namespace zv::testing {

using Throw = void (*)();

[[noreturn]] inline void ThrowNoMemory() { throw std::bad_alloc(); }
[[noreturn]] inline void ThrowFileError() { throw Error(ErrorKind::kFile, 5, u"the disk is gone"); }
[[noreturn]] inline void ThrowOtherError() { throw Error(ErrorKind::kOther, 5, u"it is broken"); }
[[noreturn]] inline void ThrowInternetError() {
  throw Error(ErrorKind::kInternet, 12031, u"the line is cut");
}
[[noreturn]] inline void ThrowAnything() { throw 42; }

// While it lives, the calling thread's allocation of this number (0 for the next one) throws; those
// before and after it succeed.
class FailingAllocation {
 public:
  FailingAllocation(size_t number, Throw thrown);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  bool happened() const;
};

// While it lives, what the calling thread allocates neither fails nor counts. Whether a failure
// happened is to be asked before or afterwards.
class AllocationsSucceed {
 public:
  AllocationsSucceed();
  ~AllocationsSucceed();
  AllocationsSucceed(const AllocationsSucceed&) = delete;
  AllocationsSucceed& operator=(const AllocationsSucceed&) = delete;

 private:
  const Throw paused_;
};

// Makes an object again and again, each time with the next one of its allocations failing, the last
// time with none. visit gets each that was made all the same, and the number of the allocation.
template <typename Object, typename Visit>
void ForEachMadeShortOfMemory(Visit visit) {
  bool happened = true;
  for (size_t number = 0; happened; ++number) {
    std::optional<Object> object;
    {
      const FailingAllocation failing(number, ThrowNoMemory);
      try {
        object.emplace();
      } catch (const std::bad_alloc&) {
      }
      happened = failing.happened();
    }
    if (object) visit(*object, number);
  }
}

// Runs the operation again and again, each time with the next one of its allocations throwing,
// until every text stood in the log or no allocation is left. Those that never stood there.
std::vector<Text> NeverLogged(const TestHome& home, TextView log_file, Throw thrown,
                              std::vector<Text> texts, const std::function<void()>& operation);

}  // namespace zv::testing
