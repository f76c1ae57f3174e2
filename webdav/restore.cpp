// The GET of a file or of a part of it, up to its body.
#include <algorithm>

#include "webdav/http_status.h"
#include "webdav/webdav.h"

namespace zv {

bool CWebDAV::StartRestore(TransferRequest& request, bool ranged) {
  return Guarded(
      false, [&] { return SendRestore(request, ranged); },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(failure.is_known() ? u"Error initiating restore, Reason: %s"
                                                 : u"Exception in initiating restore, Reason: %s",
                              failure.text);
      });
}

bool CWebDAV::SendRestore(TransferRequest& request, bool ranged) {
  content_length_ = 0;
  ResetRequest();
  SetRequestFlags(kFlagNoCacheWrite, false);
  // 32 bits wide: what a server makes of a wrapped offset is told from its reply.
  if (request.offset != 0) AddRequestHeaders(Format(u"Range: bytes=%ld-", request.offset), false);
  if (ranged) {
    AddRequestHeaders(Format(u"Range: bytes=%I64d-%I64d", request.offset,
                             request.offset + int64_t{request.length}),
                      false);
  }
  if (!SendDAVRequest(u"GET", account_root_ + request.path)) {
    debug_log_.WriteTraceText(u"Error calling SendDAVRequest on GET");
    return false;
  }
  switch (JudgeRestore(request.offset, ranged)) {
    case RestoreReply::kBytes:
      content_length_ = std::max<int64_t>(ReplyLength().value_or(0), 0);
      break;
    case RestoreReply::kEmptyFile:
      ClearRequest();  // what comes with it is no file's
      break;
    case RestoreReply::kOther:
      ClearRequest();
      return false;
  }
  request.file_size = content_length_;
  return true;
}

CWebDAV::RestoreReply CWebDAV::JudgeRestore(int64_t offset, bool ranged) const {
  // The whole file begins where a part from 0 does: that is how a server answers that knows no
  // parts, and some servers for an empty file.
  if (status_code_ == kStatusOk && offset == 0) return RestoreReply::kBytes;
  const bool asked_for_part = ranged || offset != 0;
  if (asked_for_part && ReplyBegins(offset)) return RestoreReply::kBytes;
  if (ranged && offset == 0 && ReplySaysEmpty()) return RestoreReply::kEmptyFile;
  return RestoreReply::kOther;
}

// Whether the reply is a part (RFC 9110, 14.4) that begins at the offset.
bool CWebDAV::ReplyBegins(int64_t offset) const {
  constexpr TextView kUnit = u"bytes ";
  if (status_code_ != kStatusPartialContent) return false;
  const auto range = request_->Header(u"Content-Range");
  return range && range->starts_with(kUnit) && ParseInt64(range->substr(kUnit.size())) == offset;
}

// Whether the reply refuses the part because the file has no bytes at all (RFC 9110, 15.5.17).
bool CWebDAV::ReplySaysEmpty() const {
  return status_code_ == kStatusRangeNotSatisfiable &&
         request_->Header(u"Content-Range") == u"bytes */0";
}

void CWebDAV::EndRestoreFromServer(TransferRequest& /*request*/) { ClearRequest(); }

}  // namespace zv
