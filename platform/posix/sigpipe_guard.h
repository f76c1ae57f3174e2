// Keeps SIGPIPE from the process while a TLS library, which may write without MSG_NOSIGNAL, works.
#pragma once

#include <csignal>
#include <ctime>

namespace zv {

// Of the calling thread. A signal that was pending before, or is blocked by the thread anyway, is
// left as it is.
class SigpipeGuard {
 public:
  explicit SigpipeGuard(bool active) : active_(active) {
    if (!active_) return;
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    active_ = sigismember(&pending, SIGPIPE) == 0;
    if (active_) pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  ~SigpipeGuard() {
    if (!active_) return;
    const timespec at_once{};
    while (sigtimedwait(&pipe_, nullptr, &at_once) == SIGPIPE) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  SigpipeGuard(const SigpipeGuard&) = delete;
  SigpipeGuard& operator=(const SigpipeGuard&) = delete;

 private:
  bool active_;
  sigset_t pipe_{};
  sigset_t before_{};
};

}  // namespace zv
