#include "platform/thread.h"

#include <system_error>
#include <thread>
#include <utility>

#include "platform/error.h"

namespace zv {

// The running thread holds a share of the result only, so that the last handle may go before it
// ends.
struct Thread::Impl {
  std::shared_ptr<uint32_t> result = std::make_shared<uint32_t>(0);
  std::thread thread;

  ~Impl() {
    if (thread.joinable()) thread.detach();
  }
};

Thread::Thread(Thread&&) noexcept = default;
Thread& Thread::operator=(Thread&&) noexcept = default;
Thread::~Thread() = default;

Thread Thread::Start(std::function<uint32_t()> body) {
  Thread started;
  started.impl_ = std::make_shared<Impl>();
  try {
    started.impl_->thread =
        std::thread([result = started.impl_->result, run = std::move(body)] { *result = run(); });
  } catch (const std::system_error& error) {
    const auto code = static_cast<uint32_t>(error.code().value());
    throw Error(ErrorKind::kOther, code, SystemErrorText(code));
  }
  return started;
}

uint32_t Thread::Join() {
  if (!impl_) return 0;
  if (impl_->thread.joinable()) impl_->thread.join();
  return *impl_->result;
}

}  // namespace zv
