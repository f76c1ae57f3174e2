// When a folder was last modified, asked of the server.
#include "webdav/dates.h"
#include "webdav/http_status.h"
#include "webdav/scoped_request.h"
#include "webdav/webdav.h"

namespace zv {
namespace {

constexpr TextView kHeaders = u"Depth:0\nContent-Type:text/xml\nTranslate:f";
constexpr std::string_view kFolderQuery =
    "<?xml version='1.0'?><propfind xmlns='DAV:'><prop><getlastmodified/></prop></propfind>";
constexpr std::string_view kFileQuery =
    "<?xml version='1.0'?><propfind xmlns='DAV:'><prop><getlastmodified/><getcontentlength/>"
    "</prop></propfind>";

TextView FailureFormat(Failure::Kind kind) {
  switch (kind) {
    case Failure::Kind::kMemory:
      return u"Memory Error from GetFolderLastModifiedTime, Reason: %s";
    case Failure::Kind::kInternet:
      return u"Internet Error from GetFolderLastModifiedTime, Reason: %s";
    case Failure::Kind::kFile:
    case Failure::Kind::kOther:
      return u"Regular Error from GetFolderLastModifiedTime, Reason: %s";
    case Failure::Kind::kUnknown:
      break;
  }
  return u"Unknown error from GetFolderLastModifiedTime, Reason : %s";
}

}  // namespace

uint32_t CWebDAV::GetFolderLastModifiedTime(TextView path, Seconds1601* time) {
  return Guarded(
      0U,
      [&] {
        const ScopedRequest scope(*this);
        AddRequestHeaders(kHeaders, false);
        SetRequestBody(path.ends_with(u'/') ? kFolderQuery : kFileQuery, false);
        SetRequestFlags(kFlagNoCacheWrite, false);
        if (!SendDAVRequest(u"PROPFIND", account_root_ + Text(path))) {
          debug_log_.WriteTrace(u"Unable to get last modified date  of %s, Reason: %s", path,
                                GetErrorMessage());
          return 0U;
        }
        if (status_code_ == kStatusMultistatus) return ReadFolderTime(ReadReplyText(), time);
        debug_log_.WriteTrace(u"Error calling PROPFIND to get last modified date on %s, Reason: %s",
                              path, GetErrorMessage());
        return 0U;
      },
      [&](const Failure& failure) {
        status_text_ = failure.text;
        debug_log_.WriteTrace(FailureFormat(failure.kind), failure.text);
      });
}

uint32_t CWebDAV::ReadFolderTime(TextView reply, Seconds1601* time) {
  if (!xml_.Load(reply)) {
    debug_log_.WriteTrace(u"XML response load failed, Reason : %s", GetLastErrorText());
    return 0;
  }
  for (const XmlNode& response : xml_.Select(u"/D:multistatus/D:response")) {
    if (const auto node = response.SelectSingle(u"D:propstat/D:prop/lp0:getlastmodified")) {
      *time = ParseLastModified(node->NodeText());
      return 1;
    }
  }
  return 0;
}

}  // namespace zv
