#include "zvutil/account_client.h"

#include <array>

namespace zv {
namespace {

constexpr TextView kAccountHeaders = u"Depth:0\nContent-Type:text/xml\nTranslate:f";
constexpr std::string_view kAccountBody =
    "<?xml version='1.0'?><propfind xmlns='DAV:'><prop><quota/><used/></prop></propfind>";
constexpr uint32_t kMultistatus = 207;
constexpr size_t kPieceBytes = 16384;
constexpr int kMebibyteBits = 20;

}  // namespace

AccountClient::AccountClient(const SyncLogin& login) {
  settings_.user_name = login.user;
  settings_.password = login.password;
  settings_.server_host = Trim(login.web_server);
  account_root_ = u"/users/" + login.user + u"/Files";
  PrepareConnectionHandle();
}

std::optional<int64_t> AccountClient::ListedUsedBytes() const {
  if (listed_quota() <= 0) return std::nullopt;
  return listed_used() << kMebibyteBits;
}

std::optional<int64_t> AccountClient::AskUsedBytes() {
  ResetRequest();
  AddRequestHeaders(kAccountHeaders, false);
  SetRequestBody(kAccountBody, false);
  SetRequestFlags(kFlagNoCacheWrite, false);
  if (!SendDAVRequest(u"PROPFIND", account_root_ + u"/") || status_code() != kMultistatus) {
    ClearRequest();
    return std::nullopt;
  }
  std::string bytes;
  std::array<char, kPieceBytes> piece;
  size_t count = 0;
  while (GetBufferFromServer(piece.data(), piece.size(), &count) && count > 0) {
    bytes.append(piece.data(), count);
  }
  ClearRequest();
  DirectoryEntry* entries = nullptr;
  return ParseMultistatus(FromAnsi(bytes), &entries) ? ListedUsedBytes() : std::nullopt;
}

}  // namespace zv
