// How a plan becomes the options of one libcurl handle.
#include "platform/posix/internet_transfer.h"

#include "platform/posix/internet_error.h"

namespace zv {
namespace {

constexpr long kReceiveBuffer = 512 * 1024;
constexpr long kSendBuffer = 2 * 1024 * 1024;

}  // namespace

template <typename Value>
void Transfer::Set(CURLoption option, Value value) {
  const CURLcode result = curl_easy_setopt(handles_->easy.get(), option, value);
  if (result != CURLE_OK)
    ThrowInternetError(InternetErrorCode(handles_->easy.get(), result, plan_.check_authority));
}

void Transfer::SetUp() {
  Set(CURLOPT_URL, plan_.url.c_str());
  Set(CURLOPT_PATH_AS_IS, 1L);
  Set(CURLOPT_PROTOCOLS_STR, "http,https");
  Set(CURLOPT_HTTP_VERSION,
      plan_.http_1_0 ? long{CURL_HTTP_VERSION_1_0} : long{CURL_HTTP_VERSION_1_1});
  // Some servers refuse a TLS client that offers this version and no other.
  if (plan_.http_1_0) Set(CURLOPT_SSL_ENABLE_ALPN, 0L);
  Set(CURLOPT_USERAGENT, plan_.agent.c_str());
  Set(CURLOPT_NOSIGNAL, 1L);
  Set(CURLOPT_NETRC, long{CURL_NETRC_IGNORED});
  Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(plan_.connect_timeout));
  Set(CURLOPT_BUFFERSIZE, kReceiveBuffer);
  Set(CURLOPT_WRITEFUNCTION, &Transfer::OnWrite);
  Set(CURLOPT_WRITEDATA, static_cast<void*>(this));
  Set(CURLOPT_HEADERFUNCTION, &Transfer::OnHeader);
  Set(CURLOPT_HEADERDATA, static_cast<void*>(this));
  Set(CURLOPT_PREREQFUNCTION, &Transfer::OnConnected);
  Set(CURLOPT_PREREQDATA, static_cast<void*>(this));
  SetVerbAndBody();
  SetHeaders();
  SetProxy();
  if (plan_.secure) SetTls();
  if (plan_.user.empty()) return;
  Set(CURLOPT_HTTPAUTH, long{CURLAUTH_BASIC});
  Set(CURLOPT_USERNAME, plan_.user.c_str());
  Set(CURLOPT_PASSWORD, plan_.password.c_str());
}

void Transfer::SetVerbAndBody() {
  if (plan_.upload_length) {
    Set(CURLOPT_UPLOAD, 1L);
    Set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(*plan_.upload_length));
    Set(CURLOPT_UPLOAD_BUFFERSIZE, kSendBuffer);
    Set(CURLOPT_READFUNCTION, &Transfer::OnRead);
    Set(CURLOPT_READDATA, static_cast<void*>(this));
    Set(CURLOPT_SEEKFUNCTION, &Transfer::OnSeek);
    Set(CURLOPT_SEEKDATA, static_cast<void*>(this));
  } else if (plan_.verb == "HEAD") {
    Set(CURLOPT_NOBODY, 1L);
    return;
  } else if (plan_.verb == "GET" && plan_.body.empty()) {
    Set(CURLOPT_HTTPGET, 1L);
    return;
  } else {
    Set(CURLOPT_POST, 1L);
    Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(plan_.body.size()));
    Set(CURLOPT_POSTFIELDS, plan_.body.data());
  }
  Set(CURLOPT_CUSTOMREQUEST, plan_.verb.c_str());
}

void Transfer::SetHeaders() {
  const auto add = [this](const std::string& line) {
    curl_slist* longer = curl_slist_append(header_list_.get(), line.c_str());
    if (!longer) throw std::bad_alloc();
    header_list_.release();  // the longer list begins with the old one
    header_list_.reset(longer);
  };
  bool has_type = false;
  bool has_accept = false;
  for (const auto& [name, value] : plan_.headers) {
    add(value.empty() ? name + ";" : name + ": " + value);
    has_type = has_type || curl_strequal(name.c_str(), "Content-Type");
    has_accept = has_accept || curl_strequal(name.c_str(), "Accept");
  }
  add("Expect:");  // it would cost a round trip, and a second where the server does not know it
  if (!has_type) add("Content-Type:");
  if (!has_accept) add("Accept:");
  Set(CURLOPT_HTTPHEADER, header_list_.get());
}

void Transfer::SetProxy() {
  // Explicit in both cases, so that the environment's proxies count for nothing.
  Set(CURLOPT_PROXY, plan_.proxy.c_str());
  Set(CURLOPT_NOPROXY, "");
  if (plan_.proxy.empty()) return;
  if (plan_.proxy_user.empty()) return;
  Set(CURLOPT_PROXYUSERNAME, plan_.proxy_user.c_str());
  Set(CURLOPT_PROXYPASSWORD, plan_.proxy_password.c_str());
}

// Dates cannot be let off by themselves: they are checked with the chain.
void Transfer::SetTls() {
  Set(CURLOPT_SSL_VERIFYPEER, plan_.check_authority ? 1L : 0L);
  Set(CURLOPT_SSL_VERIFYHOST, plan_.check_name ? 2L : 0L);
  // Each connection's certificate is looked at: no session of an earlier one is taken up again.
  Set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
}

}  // namespace zv
