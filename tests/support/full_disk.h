// A process for whose files there is little room. Linux only.
#pragma once

#include <signal.h>
#include <sys/resource.h>

namespace zv::testing {

// While it lives, no file grows beyond so many bytes: the write that passes them is a short one,
// the next one fails.
class FullDisk {
 public:
  explicit FullDisk(rlim_t largest_file = 16 * 1024) {
    ::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = largest_file;
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &before_); }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_;
};

}  // namespace zv::testing
