// Where connections wait to be used again, with the two handles that a transfer drives them by: a
// multi handle keeps the connections that its transfers leave open. A transfer takes the line that
// was given back last.
#pragma once

#include <curl/curl.h>

#include <memory>

namespace zv {

struct MultiDeleter {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
using MultiHandle = std::unique_ptr<CURLM, MultiDeleter>;

struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;

struct Line {
  MultiHandle multi;
  EasyHandle easy;          // without options, and not held by the multi handle, while waiting
  bool ended_well = false;  // said by the transfer: only then its easy handle is used again
};

class LinePool;

// Ends what the line does and gives it back.
struct LineReturner {
  // Whoever holds a line keeps the pool alive, so that objects of static lifetime may end in any
  // order.
  std::shared_ptr<LinePool> pool;

  void operator()(Line* line) const noexcept;
};
using LeasedLine = std::unique_ptr<Line, LineReturner>;

// Any thread.
LeasedLine TakeLine();

}  // namespace zv
