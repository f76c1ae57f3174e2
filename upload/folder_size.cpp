// The size of a folder, asked of the account's script server.
#include "upload/folder_size.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "config/settings.h"
#include "upload/backup_dav.h"
#include "webdav/http_status.h"

namespace zv {
namespace {

constexpr TextView kAgent = u"Cirrux Mail";
constexpr uint16_t kSecurePort = 443;
constexpr size_t kLargestAnswer = 512;  // bytes
constexpr size_t kServerBufferBytes = 1040;

std::string ReadAnswer(HttpRequest& request) {
  std::string answer(kLargestAnswer, '\0');
  size_t length = 0;
  while (length < answer.size()) {
    const size_t count = request.Read(answer.data() + length, answer.size() - length);
    if (count == 0) break;
    length += count;
  }
  answer.resize(length);
  return answer;
}

// A proxy that asks for no credentials is given none: the system refuses an empty text.
void SetProxyText(HttpRequest& request, uint32_t option, const Text& text) {
  if (!text.empty()) request.SetOption(option, text, text.size());
}

}  // namespace

Text FolderSizeObject(TextView user, TextView password, TextView encoded_folder) {
  return Format(u"cgi-bin/compute_size_long.cgi?user=%s&pass=%s&path=%s%%2F", user, password,
                encoded_folder);
}

uint64_t BytesFromKilobyteText(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  if (text.starts_with('+')) text.remove_prefix(1);
  double kilobytes = 0;
  std::from_chars(text.data(), text.data() + text.size(), kilobytes);
  const double bytes = kilobytes * 1024.0;
  // Beyond 64 bits, negative, or no number at all.
  if (!(bytes > 0) || bytes >= 18446744073709551616.0) return 0;
  return static_cast<uint64_t>(bytes);
}

Text CBackupDAV::GetScriptServer() {
  return Guarded(
      Text(),
      [&] {
        return HostOfServerValue(
            ReadSettingOrThrow(kConnectionParameters, settings_.user_name, kServerBufferBytes));
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception in GetScriptServer, Reason: %s", failure.text);
      });
}

uint64_t CBackupDAV::GetFolderSizeInByte(TextView folder_path) {
  return Guarded(
      uint64_t{0},
      [&]() -> uint64_t {
        const Text object =
            FolderSizeObject(settings_.user_name, settings_.password, EncodeTarget(folder_path));
        InternetSession session(
            kAgent, settings_.use_proxy ? AccessType::kNamedProxy : AccessType::kDirect,
            settings_.use_proxy ? Format(u"%s:%d", settings_.proxy_host, settings_.proxy_port)
                                : Text());
        HttpConnection connection(session, GetScriptServer(), kSecurePort, {}, {});
        HttpRequest request(connection, u"GET", object, u"HTTP/1.0", kFlagReload | kSecureFlags);
        if (settings_.use_proxy) {
          SetProxyText(request, kOptionProxyUser, settings_.proxy_user);
          SetProxyText(request, kOptionProxyPassword, settings_.proxy_password);
        }
        request.SetOption(kOptionSecurityFlags,
                          request.QueryOption(kOptionSecurityFlags) | kIgnoreCertificateFlags);
        if (!request.Send({}, {}) || request.StatusCode() != kStatusOk) return 0;
        return BytesFromKilobyteText(ReadAnswer(request));
      },
      [&](const Failure& failure) {
        debug_log_.WriteTrace(u"Exception in GetFolderSizeInByte, Reason: %s", failure.text);
      });
}

}  // namespace zv
