// Where connections wait to be used again, with the two handles that a transfer drives them by: a
// multi handle keeps the connections that its transfers leave open. A transfer takes the pair that
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

struct HandlePair {
  MultiHandle multi;
  EasyHandle easy;          // without options, and not held by the multi handle, while waiting
  bool ended_well = false;  // said by the transfer: only then its easy handle is used again
};

class HandlePool;

// Ends what the pair does and gives it back.
struct HandleReturner {
  // Whoever holds a pair keeps the pool alive, so that objects of static lifetime may end in any
  // order.
  std::shared_ptr<HandlePool> pool;

  void operator()(HandlePair* pair) const noexcept;
};
using LeasedHandles = std::unique_ptr<HandlePair, HandleReturner>;

// Any thread.
LeasedHandles TakeHandles();

}  // namespace zv
