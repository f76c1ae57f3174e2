#include "platform/internet.h"

#include <algorithm>
#include <map>

#include "platform/error.h"
#include "platform/posix/internet_error.h"
#include "platform/posix/internet_transfer.h"
#include "platform/shared/http_headers.h"
#include "platform/shared/http_redirect.h"

namespace zv {
namespace {

constexpr uint32_t kDefaultConnectTimeout = 60'000;
constexpr uint32_t kDefaultStallTimeout = 30'000;
constexpr uint32_t kIgnoreUnknownAuthority = 0x100;
constexpr uint32_t kIgnoreWrongName = 0x1000;

// The object as it may stand in a request line: what is encoded already stays as it is.
std::string SafeObject(TextView object) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string result = object.starts_with(u'/') ? "" : "/";
  for (const char c : ToUtf8(object)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F && c != '#') {
      result += c;
    } else {
      result += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return result;
}

}  // namespace

struct InternetSession::Impl {
  std::string agent;
  std::string proxy;
};

InternetSession::InternetSession(TextView agent, AccessType access, TextView proxy)
    : impl_(std::make_unique<Impl>()) {
  impl_->agent = ToUtf8(agent);
  if (access == AccessType::kNamedProxy) impl_->proxy = ToUtf8(proxy);
}

InternetSession::~InternetSession() = default;

struct HttpConnection::Impl {
  const InternetSession::Impl& session;
  Text host;
  uint16_t port;
  Text user;
  Text password;
};

HttpConnection::HttpConnection(InternetSession& session, TextView host, uint16_t port,
                               TextView user, TextView password) {
  if (host.empty()) ThrowInternetError(kInternetInvalidUrl);
  impl_ =
      std::make_unique<Impl>(Impl{session.impl(), Text(host), port, Text(user), Text(password)});
}

HttpConnection::~HttpConnection() = default;

struct HttpRequest::Impl {
  Impl(const HttpConnection::Impl& to, TextView verb_text, TextView object_text, TextView version,
       uint32_t flags);

  TransferPlan MakePlan() const;
  bool is_secure() const { return (flags & kFlagSecure) != 0; }
  bool MayAuthenticate() const;
  bool FollowRedirect();

  const HttpConnection::Impl& connection;
  Text verb;
  Text object;
  bool http_1_0;
  uint32_t flags;
  std::map<uint32_t, uint32_t> options;
  Text proxy_user;
  Text proxy_password;
  HeaderList headers;
  std::string body;
  std::optional<uint64_t> upload_length;
  bool authenticates = false;  // with the connection's user and password
  std::unique_ptr<Transfer> transfer;
};

HttpRequest::Impl::Impl(const HttpConnection::Impl& to, TextView verb_text, TextView object_text,
                        TextView version, uint32_t request_flags)
    : connection(to),
      verb(verb_text.empty() ? u"GET" : verb_text),
      object(object_text),
      http_1_0(version == u"HTTP/1.0"),
      flags(request_flags),
      options{{kOptionConnectTimeout, kDefaultConnectTimeout},
              {kOptionSendTimeout, kDefaultStallTimeout},
              {kOptionReceiveTimeout, kDefaultStallTimeout},
              {kOptionSecurityFlags, flags & (kFlagIgnoreCertDate | kFlagIgnoreCertName)}} {}

TransferPlan HttpRequest::Impl::MakePlan() const {
  // No host may reach into the rest of the URL.
  if (connection.host.find_first_of(u"/?#@\\%") != Text::npos) {
    ThrowInternetError(kInternetInvalidUrl);
  }
  TransferPlan plan;
  plan.url = (is_secure() ? "https://" : "http://") + ToUtf8(connection.host) + ":" +
             std::to_string(connection.port) + SafeObject(object);
  plan.verb = ToUtf8(verb);
  plan.agent = connection.session.agent;
  for (const auto& [name, value] : headers.lines()) {
    plan.headers.emplace_back(ToUtf8(name), ToUtf8(value));
  }
  plan.body = body;
  plan.upload_length = upload_length;
  if (authenticates) {
    plan.user = ToUtf8(connection.user);
    plan.password = ToUtf8(connection.password);
  }
  plan.http_1_0 = http_1_0;
  plan.proxy = connection.session.proxy;
  plan.proxy_user = ToUtf8(proxy_user);
  plan.proxy_password = ToUtf8(proxy_password);
  plan.secure = is_secure();
  const uint32_t security = options.at(kOptionSecurityFlags);
  plan.check_authority = (security & kIgnoreUnknownAuthority) == 0;
  plan.check_name = (security & kIgnoreWrongName) == 0;
  plan.connect_timeout = options.at(kOptionConnectTimeout);
  plan.send_timeout = options.at(kOptionSendTimeout);
  plan.receive_timeout = options.at(kOptionReceiveTimeout);
  return plan;
}

bool HttpRequest::Impl::MayAuthenticate() const {
  return transfer->status() == 401 && !authenticates && !connection.user.empty() &&
         !headers.Find(u"Authorization");
}

// True when the object has changed and is to be asked for.
bool HttpRequest::Impl::FollowRedirect() {
  const std::string* location = transfer->Header("Location");
  if (!location) return false;
  const HttpServerAddress server{is_secure(), connection.host, connection.port};
  auto next = RedirectedObject(server, verb, object, transfer->status(), FromUtf8(*location));
  if (!next) return false;
  object = std::move(*next);
  return true;
}

HttpRequest::HttpRequest(HttpConnection& connection, TextView verb, TextView object,
                         TextView version, uint32_t flags)
    : impl_(std::make_unique<Impl>(connection.impl(), verb, object, version, flags)) {}

HttpRequest::~HttpRequest() = default;

void HttpRequest::SetOption(uint32_t option, uint32_t value) {
  const auto known = impl_->options.find(option);
  if (known == impl_->options.end()) ThrowInternetError(kInternetInvalidOption);
  known->second = value;
}

void HttpRequest::SetOption(uint32_t option, TextView value, size_t length) {
  const TextView text = value.substr(0, length);
  if (option == kOptionProxyUser) {
    impl_->proxy_user = text;
  } else if (option == kOptionProxyPassword) {
    impl_->proxy_password = text;
  } else {
    ThrowInternetError(kInternetInvalidOption);
  }
}

uint32_t HttpRequest::QueryOption(uint32_t option) const {
  const auto known = impl_->options.find(option);
  if (known == impl_->options.end()) ThrowInternetError(kInternetInvalidOption);
  return known->second;
}

void HttpRequest::AddHeaders(TextView headers) {
  impl_->headers.Add(headers);
  impl_->headers.Remove(u"Content-Length");  // the client's own business
}

bool HttpRequest::Send(TextView headers, std::string_view body) {
  AddHeaders(headers);
  impl_->body = body;
  for (int redirects = 0;;) {
    impl_->transfer.reset();  // gives its connection back for the next one
    impl_->transfer = std::make_unique<Transfer>(impl_->MakePlan());
    impl_->transfer->WaitForHead();
    if (impl_->MayAuthenticate()) {
      impl_->authenticates = true;
    } else if (redirects++ == kMostRedirects || !impl_->FollowRedirect()) {
      return true;
    }
  }
}

bool HttpRequest::Begin(uint64_t content_length) {
  impl_->upload_length = content_length;
  impl_->transfer.reset();
  impl_->transfer = std::make_unique<Transfer>(impl_->MakePlan());
  impl_->transfer->StartUpload();
  return true;
}

void HttpRequest::Write(const void* data, size_t size) {
  Transfer* transfer = impl_->transfer.get();
  if (!transfer || !impl_->upload_length || size > *impl_->upload_length - transfer->uploaded()) {
    ThrowInternetError(kInternetInvalidOperation);
  }
  transfer->Upload(data, size);
}

bool HttpRequest::End() {
  Transfer* transfer = impl_->transfer.get();
  if (!transfer || !impl_->upload_length ||
      (!transfer->has_head() && transfer->uploaded() < *impl_->upload_length)) {
    SetLastError(kInternetWrongState);
    return false;
  }
  transfer->WaitForHead();
  return true;
}

uint32_t HttpRequest::StatusCode() const {
  return impl_->transfer && impl_->transfer->has_head() ? impl_->transfer->status() : 0;
}

Text HttpRequest::StatusText() const {
  const bool there = impl_->transfer && impl_->transfer->has_head();
  return there ? FromUtf8(impl_->transfer->reason()) : Text();
}

std::optional<Text> HttpRequest::Header(TextView name) const {
  if (!impl_->transfer || !impl_->transfer->has_head()) return std::nullopt;
  const std::string* value = impl_->transfer->Header(ToUtf8(name));
  return value ? std::optional(FromUtf8(*value)) : std::nullopt;
}

size_t HttpRequest::Read(void* buffer, size_t size) {
  if (!impl_->transfer || !impl_->transfer->has_head()) ThrowInternetError(kInternetWrongState);
  return impl_->transfer->Read(buffer, size);
}

// Pieces of any size are served from a receive buffer that is larger than what readers ask for.
void HttpRequest::SetReadBuffer(size_t) {}

}  // namespace zv
