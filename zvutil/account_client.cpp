#include "zvutil/account_client.h"

#include "config/guard.h"
#include "webdav/http_status.h"
#include "webdav/scoped_request.h"
#include "webdav/url.h"

namespace zv {
namespace {

constexpr TextView kAccountHeaders = u"Depth:0\nContent-Type:text/xml\nTranslate:f";
constexpr std::string_view kAccountBody =
    "<?xml version='1.0'?><propfind xmlns='DAV:'><prop><quota/><used/></prop></propfind>";
// The server may say any number: a shift does not overflow, as a product would.
constexpr int kMebibyteBits = 20;

}  // namespace

AccountClient::AccountClient(const SyncLogin& login) {
  settings_.user_name = login.user;
  settings_.password = login.password;
  settings_.server_host = Trim(login.web_server);
  account_root_ = AccountRoot(login.user);
  PrepareConnectionHandle();
}

std::optional<int64_t> AccountClient::ListedUsedBytes() const {
  if (listed_quota() <= 0) return std::nullopt;
  return listed_used() << kMebibyteBits;
}

std::optional<int64_t> AccountClient::AskUsedBytes() {
  return Guarded(
      std::optional<int64_t>(),
      [&]() -> std::optional<int64_t> {
        const ScopedRequest scope(*this);
        AddRequestHeaders(kAccountHeaders, false);
        SetRequestBody(kAccountBody, false);
        SetRequestFlags(kFlagNoCacheWrite, false);
        if (!SendDAVRequest(u"PROPFIND", account_root_ + u"/") ||
            status_code() != kStatusMultistatus) {
          return std::nullopt;
        }
        DirectoryEntry* entries = nullptr;
        return ParseMultistatus(ReadReplyText(), &entries) ? ListedUsedBytes() : std::nullopt;
      },
      [&](const Failure& failure) { ReportListingFailure(failure); });
}

}  // namespace zv
