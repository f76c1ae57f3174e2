// Threads and a semaphore.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace zv {

// A running thread. Destroying the object lets the thread go on by itself.
class Thread {
 public:
  Thread() = default;
  Thread(Thread&&) noexcept;
  Thread& operator=(Thread&&) noexcept;
  ~Thread();

  // Starts a thread with default attributes; its result is kept until the last handle goes. The
  // body must not throw: that would end the process. Throws Error(kOther) when no thread can be
  // made.
  static Thread Start(std::function<uint32_t()> body);

  // Waits without limit; gives the body's result.
  uint32_t Join();

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

// Waits, without time-out, until every thread has ended.
void WaitForAll(std::span<Thread> threads);

// A counting semaphore. Any thread may release what another acquired.
class Semaphore {
 public:
  Semaphore(uint32_t initial, uint32_t maximum);
  ~Semaphore();
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  void Acquire();
  // False (and no change) when the count is at its maximum.
  bool Release();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Acquired for the life of the object.
class SemaphoreLock {
 public:
  explicit SemaphoreLock(Semaphore& semaphore) : semaphore_(&semaphore) { semaphore_->Acquire(); }
  ~SemaphoreLock() { Unlock(); }
  SemaphoreLock(const SemaphoreLock&) = delete;
  SemaphoreLock& operator=(const SemaphoreLock&) = delete;
  void Unlock() {
    if (semaphore_) semaphore_->Release();
    semaphore_ = nullptr;
  }

 private:
  Semaphore* semaphore_;
};

}  // namespace zv
