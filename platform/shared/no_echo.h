// The system's part of platform/console.h.
#pragma once

#include <memory>

namespace zv {

// What is typed at the terminal stays unseen for the life of the object.
class NoEcho {
 public:
  NoEcho();
  ~NoEcho();
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;  // null when nothing was to be changed
};

}  // namespace zv
