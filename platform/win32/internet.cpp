#include "platform/internet.h"

#include <windows.h>
#include <wininet.h>
#include <winsock2.h>

#include <algorithm>
#include <map>

#include "platform/base64.h"
#include "platform/error.h"
#include "platform/shared/http_headers.h"
#include "platform/shared/http_redirect.h"
#include "platform/win32/wide.h"

namespace zv {
namespace {

// Connections are kept; redirects are followed here, since the client would follow them to other
// servers; no dialog comes up; and nothing is answered from the client's own cache, which knows of
// no change that another machine makes.
constexpr uint32_t kAddedFlags = INTERNET_FLAG_KEEP_CONNECTION | INTERNET_FLAG_NO_AUTO_REDIRECT |
                                 INTERNET_FLAG_NO_UI | INTERNET_FLAG_RELOAD |
                                 INTERNET_FLAG_NO_CACHE_WRITE;
constexpr size_t kLargestPiece = 1 << 30;  // lengths of one call are 32-bit

struct InternetCloser {
  using pointer = HINTERNET;
  void operator()(HINTERNET handle) const { InternetCloseHandle(handle); }
};
using InternetHandle = std::unique_ptr<HINTERNET, InternetCloser>;

// Some of the client's calls hand the socket's own codes on.
uint32_t ClientCode(uint32_t code) {
  switch (code) {
    case WSAETIMEDOUT:
      return ERROR_INTERNET_TIMEOUT;
    case WSAECONNRESET:
      return ERROR_INTERNET_CONNECTION_RESET;
    case WSAECONNABORTED:
    case WSAENOTSOCK:
      return ERROR_INTERNET_CONNECTION_ABORTED;
    default:
      return code;
  }
}

[[noreturn]] void Throw(uint32_t system_code) {
  const uint32_t code = ClientCode(system_code);
  const Text text = SystemErrorText(code);
  ::SetLastError(code);
  throw Error(ErrorKind::kInternet, code, text.empty() ? Text(kUnknownErrorText) : text);
}

InternetHandle Owned(HINTERNET handle) {
  if (!handle) Throw(GetLastError());
  return InternetHandle(handle);
}

void Check(BOOL done) {
  if (!done) Throw(GetLastError());
}

// A text for one call; null when it is empty.
class OptionalName {
 public:
  explicit OptionalName(TextView text) : text_(ToWide(text)) {}
  const wchar_t* get() const { return text_.empty() ? nullptr : text_.c_str(); }

 private:
  std::wstring text_;
};

bool IsBrokenConnection(uint32_t code) {
  return code == ERROR_INTERNET_CONNECTION_ABORTED || code == ERROR_INTERNET_CONNECTION_RESET;
}

}  // namespace

struct InternetSession::Impl {
  InternetHandle handle;
};

InternetSession::InternetSession(TextView agent, AccessType access, TextView proxy)
    : impl_(std::make_unique<Impl>()) {
  impl_->handle = Owned(InternetOpenW(OptionalName(agent).get(), static_cast<DWORD>(access),
                                      OptionalName(proxy).get(), nullptr, 0));
}

InternetSession::~InternetSession() = default;

struct HttpConnection::Impl {
  InternetHandle handle;
  Text host;
  uint16_t port = 0;
  Text user;
  Text password;
};

HttpConnection::HttpConnection(InternetSession& session, TextView host, uint16_t port,
                               TextView user, TextView password)
    : impl_(std::make_unique<Impl>()) {
  impl_->host = host;
  impl_->port = port;
  impl_->user = user;
  impl_->password = password;
  if (host.empty()) Throw(ERROR_INTERNET_INVALID_URL);
  // Given user and password, the client would send every request again after a 401.
  impl_->handle = Owned(InternetConnectW(session.impl().handle.get(), OptionalName(host).get(),
                                         port, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0));
}

HttpConnection::~HttpConnection() = default;

struct HttpRequest::Impl {
  void Open();
  void ApplyHeader(const HeaderList::Line& line) const;
  std::optional<Text> Query(DWORD what, TextView name) const;
  bool HasStatusLine() const;
  void NoteReply();
  bool Authenticate();
  bool FollowRedirect();
  void OpenAgain();
  DWORD ReadPiece(void* buffer, size_t size);
  bool HasEarlyReply();

  const HttpConnection::Impl* connection = nullptr;
  Text verb;
  Text object;
  Text version;
  uint32_t flags = 0;
  InternetHandle handle;

  // What a request that is opened again gets again.
  HeaderList headers;
  std::map<uint32_t, uint32_t> options;
  std::map<uint32_t, Text> text_options;

  uint32_t status = 0;  // 0 until the reply's headers are there
  std::optional<uint64_t> body_length;
  uint64_t body_read = 0;
  uint32_t failure = 0;

  std::optional<uint64_t> upload_length;
  uint64_t uploaded = 0;
};

void HttpRequest::Impl::Open() {
  handle = Owned(HttpOpenRequestW(connection->handle.get(), OptionalName(verb).get(),
                                  OptionalName(object).get(), OptionalName(version).get(), nullptr,
                                  nullptr, flags | kAddedFlags, 0));
  for (auto [option, value] : options) {
    Check(InternetSetOptionW(handle.get(), option, &value, sizeof value));
  }
  for (auto& [option, value] : text_options) {
    Check(InternetSetOptionW(handle.get(), option, value.data(), static_cast<DWORD>(value.size())));
  }
}

// The block is taken apart before: of repeated lines the client would send some and join others.
void HttpRequest::Impl::ApplyHeader(const HeaderList::Line& line) const {
  const std::wstring text = ToWide(line.name + u": " + line.value + u"\r\n");
  Check(HttpAddRequestHeadersW(handle.get(), text.c_str(), static_cast<DWORD>(text.size()),
                               HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE));
}

// name: of the header for HTTP_QUERY_CUSTOM, else empty.
std::optional<Text> HttpRequest::Impl::Query(DWORD what, TextView name) const {
  Text buffer(std::max<size_t>(name.size() + 1, 256), u'\0');
  while (true) {
    std::copy(name.begin(), name.end(), buffer.begin());
    buffer[name.size()] = u'\0';
    auto bytes = static_cast<DWORD>(buffer.size() * sizeof(char16_t));
    if (HttpQueryInfoW(handle.get(), what, buffer.data(), &bytes, nullptr)) {
      buffer.resize(bytes / sizeof(char16_t));
      return buffer;
    }
    const bool larger = bytes > buffer.size() * sizeof(char16_t);
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || !larger) return std::nullopt;
    buffer.resize(bytes / sizeof(char16_t) + 1);
  }
}

// The client makes up a bare line for a reply that begins without one (HTTP/0.9). To a request in
// HTTP/1.0 that line may be the server's own.
bool HttpRequest::Impl::HasStatusLine() const {
  if (version == u"HTTP/1.0") return true;
  const auto head = Query(HTTP_QUERY_RAW_HEADERS_CRLF, {});
  return head && Trim(*head) != u"HTTP/1.0 200 OK";
}

void HttpRequest::Impl::NoteReply() {
  status = 0;
  DWORD size = sizeof status;
  Check(HttpQueryInfoW(handle.get(), HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &status,
                       &size, nullptr));
  if (status == 0 || !HasStatusLine()) {
    status = 0;
    Throw(ERROR_HTTP_INVALID_SERVER_RESPONSE);
  }
  body_length.reset();
  body_read = 0;
  const bool has_body = verb != u"HEAD" && status != 204 && status != 304;
  const auto length = Query(HTTP_QUERY_CUSTOM, u"Content-Length");
  if (has_body && length) body_length = static_cast<uint64_t>(ParseInt64(*length));
}

// The same request once more, with the same headers and options.
void HttpRequest::Impl::OpenAgain() {
  status = 0;
  Open();
  for (const HeaderList::Line& line : headers.lines()) ApplyHeader(line);
}

// True when the request is to be sent again, with the connection's user and password.
bool HttpRequest::Impl::Authenticate() {
  if (status != 401 || connection->user.empty() || headers.Find(u"Authorization")) return false;
  const std::string pair = ToUtf8(connection->user) + ":" + ToUtf8(connection->password);
  headers.Add(u"Authorization: Basic " + FromUtf8(EncodeBase64(pair)));
  OpenAgain();
  return true;
}

bool HttpRequest::Impl::FollowRedirect() {
  const auto location = Query(HTTP_QUERY_CUSTOM, u"Location");
  if (!location) return false;
  const HttpServerAddress server{(flags & kFlagSecure) != 0, connection->host, connection->port};
  auto next = RedirectedObject(server, verb, object, status, *location);
  if (!next) return false;
  object = std::move(*next);
  OpenAgain();
  return true;
}

DWORD HttpRequest::Impl::ReadPiece(void* buffer, size_t size) {
  DWORD got = 0;
  const auto wanted = static_cast<DWORD>(std::min(size, kLargestPiece));
  if (!InternetReadFile(handle.get(), buffer, wanted, &got)) {
    failure = GetLastError();
    return 0;
  }
  // What came with the body's end may follow it.
  if (body_length) got = static_cast<DWORD>(std::min<uint64_t>(got, *body_length - body_read));
  body_read += got;
  // The client takes a connection that ends too early for the end of the body.
  if (got == 0 && body_length && body_read < *body_length) {
    failure = ERROR_INTERNET_CONNECTION_ABORTED;
  }
  return got;
}

// A server that refuses an upload replies and breaks the connection: the reply counts, then.
bool HttpRequest::Impl::HasEarlyReply() {
  if (!HttpEndRequestW(handle.get(), nullptr, 0, 0)) return false;
  try {
    NoteReply();
  } catch (const Error&) {
    status = 0;
  }
  return status != 0;
}

HttpRequest::HttpRequest(HttpConnection& connection, TextView verb, TextView object,
                         TextView version, uint32_t flags)
    : impl_(std::make_unique<Impl>()) {
  impl_->connection = &connection.impl();
  impl_->verb = verb;
  impl_->object = object;
  impl_->version = version;
  impl_->flags = flags;
  impl_->Open();
}

HttpRequest::~HttpRequest() = default;

void HttpRequest::SetOption(uint32_t option, uint32_t value) {
  Check(InternetSetOptionW(impl_->handle.get(), option, &value, sizeof value));
  impl_->options[option] = value;
}

void HttpRequest::SetOption(uint32_t option, TextView value, size_t length) {
  Text text(value.substr(0, length));
  Check(InternetSetOptionW(impl_->handle.get(), option, text.data(),
                           static_cast<DWORD>(text.size())));
  impl_->text_options[option] = std::move(text);
}

uint32_t HttpRequest::QueryOption(uint32_t option) const {
  DWORD value = 0;
  DWORD size = sizeof value;
  Check(InternetQueryOptionW(impl_->handle.get(), option, &value, &size));
  return value;
}

void HttpRequest::AddHeaders(TextView headers) {
  HeaderList added;
  added.Add(headers);
  added.Remove(u"Content-Length");  // the client's own business
  for (const HeaderList::Line& line : added.lines()) {
    impl_->ApplyHeader(line);
    impl_->headers.Add(line.name + u":" + line.value);
  }
}

bool HttpRequest::Send(TextView headers, std::string_view body) {
  AddHeaders(headers);
  for (int redirects = 0;;) {
    std::string sent(body);  // the client asks for bytes that may be written to
    Check(HttpSendRequestW(impl_->handle.get(), nullptr, 0, sent.empty() ? nullptr : sent.data(),
                           static_cast<DWORD>(sent.size())));
    impl_->NoteReply();
    if (impl_->Authenticate()) continue;
    if (redirects++ == kMostRedirects || !impl_->FollowRedirect()) return true;
  }
}

bool HttpRequest::Begin(uint64_t content_length) {
  if (content_length > MAXDWORD) Throw(ERROR_INTERNET_INVALID_OPERATION);
  INTERNET_BUFFERSW buffers{};
  buffers.dwStructSize = sizeof buffers;
  buffers.dwBufferTotal = static_cast<DWORD>(content_length);
  Check(HttpSendRequestExW(impl_->handle.get(), &buffers, nullptr, HSR_INITIATE, 0));
  impl_->upload_length = content_length;
  return true;
}

void HttpRequest::Write(const void* data, size_t size) {
  if (!impl_->upload_length || size > *impl_->upload_length - impl_->uploaded) {
    Throw(ERROR_INTERNET_INVALID_OPERATION);
  }
  const char* from = static_cast<const char*>(data);
  impl_->uploaded += size;
  while (size > 0 && impl_->status == 0) {
    DWORD written = 0;
    const auto wanted = static_cast<DWORD>(std::min(size, kLargestPiece));
    if (!InternetWriteFile(impl_->handle.get(), from, wanted, &written)) {
      const uint32_t code = ClientCode(GetLastError());
      if (IsBrokenConnection(code) && impl_->HasEarlyReply()) return;
      Throw(code);
    }
    from += written;
    size -= written;
  }
}

bool HttpRequest::End() {
  if (impl_->upload_length && impl_->status != 0) return true;
  if (!impl_->upload_length || impl_->uploaded < *impl_->upload_length) {
    ::SetLastError(ERROR_INTERNET_INCORRECT_HANDLE_STATE);
    return false;
  }
  Check(HttpEndRequestW(impl_->handle.get(), nullptr, 0, 0));
  impl_->NoteReply();
  return true;
}

uint32_t HttpRequest::StatusCode() const { return impl_->status; }

Text HttpRequest::StatusText() const {
  if (impl_->status == 0) return {};
  return impl_->Query(HTTP_QUERY_STATUS_TEXT, {}).value_or(Text());
}

std::optional<Text> HttpRequest::Header(TextView name) const {
  if (impl_->status == 0) return std::nullopt;
  return impl_->Query(HTTP_QUERY_CUSTOM, name);
}

size_t HttpRequest::Read(void* buffer, size_t size) {
  if (impl_->status == 0) Throw(ERROR_INTERNET_INCORRECT_HANDLE_STATE);
  char* out = static_cast<char*>(buffer);
  size_t got = 0;
  while (got < size && impl_->failure == 0) {
    const DWORD piece = impl_->ReadPiece(out + got, size - got);
    if (piece == 0) break;
    got += piece;
  }
  if (got == 0 && impl_->failure != 0) Throw(impl_->failure);
  return got;
}

void HttpRequest::SetReadBuffer(size_t size) {
  auto bytes = static_cast<DWORD>(std::min(size, kLargestPiece));
  InternetSetOptionW(impl_->handle.get(), INTERNET_OPTION_READ_BUFFER_SIZE, &bytes, sizeof bytes);
}

}  // namespace zv
