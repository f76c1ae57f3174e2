// One folder's members, asked of the server.
#include <algorithm>
#include <atomic>
#include <new>

#include "config/settings.h"
#include "platform/error.h"
#include "webdav/http_status.h"
#include "webdav/listing_testing.h"
#include "webdav/multistatus.h"
#include "webdav/webdav.h"
#include "worker/progress.h"

namespace zv {
namespace {

constexpr TextView kListingHeaders = u"Depth:1\nContent-Type:text/xml\nTranslate:f";
constexpr std::string_view kListingBody =
    "<?xml version='1.0'?><propfind xmlns='DAV:'><prop><getcontentlength/><creationdate/>"
    "<getlastmodified/><quota/><used/></prop></propfind>";
constexpr size_t kPieceBytes = 16384;
// A reply without end must not take all memory; a million members take half as much as this.
constexpr size_t kMostReplyBytes = size_t{1} << 30;
constexpr uint32_t kInvalidServerResponse = 12152;

std::atomic<size_t> g_most_reply_bytes{kMostReplyBytes};

}  // namespace

bool CWebDAV::GetDirectoryContents(TextView path, DirectoryEntry** entries) {
  *entries = nullptr;
  const bool listed = Guarded(
      false, [&] { return FetchListing(account_root_ + Text(path), entries); },
      [&](const Failure& failure) { ReportListingFailure(failure); });
  ClearRequest();
  return listed;
}

bool CWebDAV::FetchListing(const Text& full_path, DirectoryEntry** entries) {
  ResetRequest();
  AddRequestHeaders(kListingHeaders, false);
  SetRequestBody(kListingBody, false);
  SetRequestFlags(kFlagNoCacheWrite, false);
  if (!SendDAVRequest(u"PROPFIND", full_path)) {
    debug_log_.WriteTrace(u"Error returned from SendDAVRequest for PROPFIND. Reason : %s",
                          GetErrorMessage());
    user_log_.WriteLog(LogLevel::kError, u"Unable to obtain directory contents of %s. Reason: %s",
                       full_path, GetErrorMessage());
    return false;
  }
  if (status_code_ != kStatusMultistatus) {
    user_log_.WriteLog(LogLevel::kError,
                       u"Unable to obtain directory contents of %s. Reason: %s (%d)", full_path,
                       GetErrorMessage(), status_code_);
    debug_log_.WriteTrace(u"Error calling PROPFIND on %s. Reason: %s", full_path,
                          GetErrorMessage());
    return false;
  }
  if (!ParseMultistatus(ReadReplyText(), entries)) {
    debug_log_.WriteTraceText(u"Error returned from parser in DAV GetDirectoryContents.");
    return false;
  }
  user_log_.WriteLog(LogLevel::kInformation, u"Fetched the directory contents of %s.", full_path);
  return true;
}

// Converted as a whole: a character of several bytes may lie across two pieces.
Text CWebDAV::ReadReplyText() {
  request_->SetReadBuffer(kPieceBytes);
  std::string bytes;
  size_t length = 0;
  for (;;) {
    bytes.resize(length + kPieceBytes);
    const size_t count = request_->Read(bytes.data() + length, kPieceBytes);
    if (count == 0) break;
    length += count;
    if (length > g_most_reply_bytes) {
      SetLastError(kInvalidServerResponse);
      ThrowLastError(ErrorKind::kInternet);
    }
  }
  bytes.resize(length);
  return FromAnsi(bytes);
}

bool CWebDAV::ParseMultistatus(TextView reply, DirectoryEntry** entries) {
  *entries = nullptr;
  if (!xml_.Load(reply)) {
    debug_log_.WriteTrace(u"XML response load failed, Reason : %s", GetLastErrorText());
    return false;
  }
  auto listing = ReadMultistatus(xml_, account_root_, [&](const XmlNode& node, TextView query) {
    return GetNodeText(node, query);
  });
  if (!listing) {
    debug_log_.WriteTraceText(u"Returning false from parser, Reason: no files");
    return false;
  }
  // What the server says is published; this account's own figure never goes beyond its quota.
  SetUsedSpaceMib(static_cast<uint64_t>(listing->used));
  quota_ = listing->quota;
  used_ = std::min(listing->used, listing->quota);
  listing_ = std::move(listing->entries);
  *entries = listing_.data();
  return true;
}

Text CWebDAV::GetNodeText(const XmlNode& node, TextView query) {
  try {
    const auto found = node.SelectSingle(query);
    return found ? found->NodeText() : Text();
  } catch (...) {
    const Failure failure = CurrentFailure();
    debug_log_.WriteTrace(u"Parsing error while reading the tag value %s. Reason : %s", query,
                          failure.text);
    user_log_.WriteLog(LogLevel::kError, u"Unable to parse the tag %s. Reason: %s", query,
                       failure.text);
    // An entry without its name or its size would be stored, and served, as the server's.
    if (failure.kind == Failure::Kind::kMemory) throw std::bad_alloc();
    return {};
  }
}

void CWebDAV::ReportListingFailure(const Failure& failure) {
  status_text_ = failure.text;
  const Text reason = GetErrorMessage();
  constexpr TextView kUserText = u"Unable to get the directory contents. Reason: %s";
  switch (failure.kind) {
    case Failure::Kind::kMemory:
      debug_log_.WriteTrace(u"Memory Error from DAV GetContents, Reason: %s", reason);
      break;
    case Failure::Kind::kInternet:
      debug_log_.WriteTrace(u"Internet Error from DAV GetContents, Reason: %s", reason);
      break;
    case Failure::Kind::kFile:
    case Failure::Kind::kOther:
      debug_log_.WriteTrace(u"Regular Error from DAV GetContents. Reason: %s", reason);
      user_log_.WriteLog(LogLevel::kError, kUserText, reason);
      break;
    case Failure::Kind::kUnknown:
      debug_log_.WriteTrace(u"Unknown error from DAV GetContents. Reason : %s", reason);
      user_log_.WriteLog(LogLevel::kError, kUserText, reason);
      break;
  }
}

bool CWebDAV::GetUsedQuota(int64_t* quota, int64_t* used) {
  const auto stored = ReadStoredUsedQuota();
  *quota = quota_;
  *used = stored.value_or(used_);
  return stored.has_value();
}

namespace testing {
ReplyLimit::ReplyLimit(size_t bytes) { g_most_reply_bytes = bytes; }
ReplyLimit::~ReplyLimit() { g_most_reply_bytes = kMostReplyBytes; }
}  // namespace testing

}  // namespace zv
