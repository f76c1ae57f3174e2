// Where connections wait to be used again: each multi handle keeps the connections that its
// transfers leave open, and a transfer takes the handle that was given back last.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <vector>

namespace zv {

struct MultiDeleter {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
using MultiHandle = std::unique_ptr<CURLM, MultiDeleter>;

struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;

// Process-wide; any thread.
class MultiPool {
 public:
  // Whoever holds it keeps it alive, so that objects of static lifetime may end in any order.
  static std::shared_ptr<MultiPool> Instance();
  MultiPool();

  MultiHandle Take();
  void GiveBack(MultiHandle multi) noexcept;

 private:
  std::mutex mutex_;
  std::vector<MultiHandle> idle_;
};

}  // namespace zv
