// A file's time and length without its body.
#include "webdav/dates.h"
#include "webdav/http_status.h"
#include "webdav/scoped_request.h"
#include "webdav/webdav.h"

namespace zv {

uint32_t CWebDAV::GetLastModifiedTime(TextView path, int64_t* content_length, FileTime* time) {
  return Guarded(
      0U,
      [&] {
        const ScopedRequest scope(*this);
        SetRequestFlags(kFlagNoCacheWrite, false);
        if (!SendDAVRequest(u"HEAD", account_root_ + Text(path))) {
          debug_log_.WriteTrace(u"Unable to get Last modified date of file %s, Reason: %s", path,
                                GetErrorMessage());
          return 0U;
        }
        if (status_code_ != kStatusOk) {
          debug_log_.WriteTrace(u"Error getting Last modified date of %s, Reason: %s", path,
                                GetErrorMessage());
          return 0U;
        }
        *time = ReplyLastModified();
        *content_length = ReplyLength().value_or(0);
        return 1U;
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception in getting Last modified Time, Reason: %s", failure.text);
      });
}

FileTime CWebDAV::ReplyLastModified() const {
  return ToFileTime(ParseLastModified(request_->Header(u"Last-Modified").value_or(Text())));
}

std::optional<int64_t> CWebDAV::ReplyLength() const {
  const auto text = request_->Header(u"Content-Length");
  if (!text || text->empty()) return std::nullopt;
  return ParseInt64(*text);
}

}  // namespace zv
