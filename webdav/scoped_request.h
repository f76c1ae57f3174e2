// One operation's use of the client's request: begun with nothing set, over when the operation is.
#pragma once

#include "webdav/webdav.h"

namespace zv {

class ScopedRequest {
 public:
  explicit ScopedRequest(CWebDAV& client) : client_(client) { client_.ResetRequest(); }
  // What is left of the reply's body is not fetched.
  ~ScopedRequest() { client_.ClearRequest(); }
  ScopedRequest(const ScopedRequest&) = delete;
  ScopedRequest& operator=(const ScopedRequest&) = delete;

 private:
  CWebDAV& client_;
};

}  // namespace zv
