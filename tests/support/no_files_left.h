// A process that can open nothing more. Linux only.
#pragma once

#include <sys/resource.h>

namespace zv::testing {

// For its life; what is open stays so. A sanitizer that meets a class for the first time opens a
// pipe to look at it: what is to be tested must have failed for another reason before.
class NoFilesLeft {
 public:
  NoFilesLeft() {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = 0;
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~NoFilesLeft() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  NoFilesLeft(const NoFilesLeft&) = delete;
  NoFilesLeft& operator=(const NoFilesLeft&) = delete;

 private:
  rlimit before_;
};

}  // namespace zv::testing
