#include "tests/support/failing_memory.h"

#include <cstdlib>
#include <utility>

namespace {

thread_local size_t before_failure = 0;
thread_local zv::testing::Throw at_failure = nullptr;

void CountAllocation() {
  if (!at_failure || before_failure-- > 0) return;
  const auto thrown = at_failure;
  at_failure = nullptr;
  thrown();
}

}  // namespace

void* operator new(size_t size) {
  CountAllocation();
  void* piece = std::malloc(size ? size : 1);
  if (!piece) throw std::bad_alloc();
  return piece;
}
void operator delete(void* piece) noexcept { std::free(piece); }
void operator delete(void* piece, size_t) noexcept { std::free(piece); }

#ifndef _WIN32  // where std::free takes no aligned piece
void* operator new(size_t size, std::align_val_t alignment) {
  CountAllocation();
  const auto unit = static_cast<size_t>(alignment);
  void* piece = std::aligned_alloc(unit, (size / unit + 1) * unit);
  if (!piece) throw std::bad_alloc();
  return piece;
}
void operator delete(void* piece, std::align_val_t) noexcept { std::free(piece); }
void operator delete(void* piece, size_t, std::align_val_t) noexcept { std::free(piece); }
#endif

namespace zv::testing {

FailingAllocation::FailingAllocation(size_t number, Throw thrown) {
  before_failure = number;
  at_failure = thrown;
}

FailingAllocation::~FailingAllocation() { at_failure = nullptr; }

bool FailingAllocation::happened() const { return at_failure == nullptr; }

AllocationsSucceed::AllocationsSucceed() : paused_(std::exchange(at_failure, nullptr)) {}
AllocationsSucceed::~AllocationsSucceed() { at_failure = paused_; }

std::vector<Text> NeverLogged(const TestHome& home, TextView log_file, Throw thrown,
                              std::vector<Text> texts, const std::function<void()>& operation) {
  bool happened = true;
  for (size_t number = 0; happened && !texts.empty(); ++number) {
    {
      const FailingAllocation failing(number, thrown);
      operation();
      happened = failing.happened();
    }
    const Text log = home.LogText(log_file);
    std::erase_if(texts, [&](const Text& text) { return log.find(text) != Text::npos; });
  }
  return texts;
}

}  // namespace zv::testing
