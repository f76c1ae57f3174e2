// Replies that are too long, in tests.
#pragma once

#include <cstddef>

namespace zv::testing {

// While it lives, the reply to a PROPFIND may have this many bytes at most. One at a time; any
// thread may read a reply meanwhile.
class ReplyLimit {
 public:
  explicit ReplyLimit(size_t bytes);
  ~ReplyLimit();
  ReplyLimit(const ReplyLimit&) = delete;
  ReplyLimit& operator=(const ReplyLimit&) = delete;
};

}  // namespace zv::testing
