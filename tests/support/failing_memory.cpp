#include "tests/support/failing_memory.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
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

// Not every system frees an aligned piece as any other: before it stands where the whole begins.
void* operator new(size_t size, std::align_val_t alignment) {
  CountAllocation();
  const auto unit = static_cast<uintptr_t>(alignment);
  void* const whole = std::malloc(sizeof whole + unit + size);
  if (!whole) throw std::bad_alloc();
  const auto begin = reinterpret_cast<uintptr_t>(whole) + sizeof whole;
  auto* const piece = reinterpret_cast<std::byte*>((begin + unit - 1) / unit * unit);
  std::memcpy(piece - sizeof whole, &whole, sizeof whole);
  return piece;
}
void operator delete(void* piece, std::align_val_t) noexcept {
  if (!piece) return;
  void* whole = nullptr;
  std::memcpy(&whole, static_cast<std::byte*>(piece) - sizeof whole, sizeof whole);
  std::free(whole);
}
void operator delete(void* piece, size_t, std::align_val_t alignment) noexcept {
  operator delete(piece, alignment);
}

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
