#include "platform/thread.h"

#include <process.h>
#include <windows.h>

#include <utility>

#include "platform/error.h"

namespace zv {
namespace {

// What a thread runs, and where its result goes; the thread's own.
struct Work {
  std::function<uint32_t()> body;
  std::shared_ptr<uint32_t> result;
};

unsigned __stdcall Run(void* argument) {
  const std::unique_ptr<Work> work(static_cast<Work*>(argument));
  *work->result = work->body();
  return 0;
}

}  // namespace

// The system's own thread: the compiler's library for it can lose what a thread is to run when the
// handle goes before the thread has begun.
struct Thread::Impl {
  std::shared_ptr<uint32_t> result = std::make_shared<uint32_t>(0);
  HANDLE handle = nullptr;

  ~Impl() {
    if (handle) ::CloseHandle(handle);
  }
};

Thread::Thread(Thread&&) noexcept = default;
Thread& Thread::operator=(Thread&&) noexcept = default;
Thread::~Thread() = default;

Thread Thread::Start(std::function<uint32_t()> body) {
  Thread started;
  started.impl_ = std::make_shared<Impl>();
  auto work = std::make_unique<Work>(Work{std::move(body), started.impl_->result});
  const uintptr_t handle = ::_beginthreadex(nullptr, 0, Run, work.get(), 0, nullptr);
  if (handle == 0) {
    const uint32_t code = ::GetLastError();
    throw Error(ErrorKind::kOther, code, SystemErrorText(code));
  }
  work.release();
  started.impl_->handle = reinterpret_cast<HANDLE>(handle);
  return started;
}

uint32_t Thread::Join() {
  if (!impl_) return 0;
  ::WaitForSingleObject(impl_->handle, INFINITE);
  return *impl_->result;
}

}  // namespace zv
