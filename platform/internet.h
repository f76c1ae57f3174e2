// HTTP in the shape of the system's client (WinINet on Windows, libcurl on Linux).
//
// A session makes connections, a connection makes requests; a request is sent, its status and
// headers are asked for and its body is read piece by piece. Numbered options and flags are the
// system client's own (below), so that the callers above read alike on both systems.
//
// On the wire: header blocks may separate lines with bare "\n"; empty lines are dropped; of
// repeated lines of one name the last wins; Content-Length is the client's own business; there is
// no Accept line but the caller's. Redirects are followed for GET and HEAD only, and only within
// the server (scheme, host and port). User and password given to the connection are tried once by
// themselves after a 401 when the request carried no Authorization line of its own and was no
// streamed upload. Connections are kept and used again by the whole process. Nothing is answered
// from a cache. What does not begin with a status line is no reply; on Windows, where the client
// makes up a bare "HTTP/1.0 200 OK" for it, it passes for one to a request in HTTP/1.0, and that
// bare line is no reply to any other.
//
// Failure: Error(kInternet) with the client's code (12002 time-out, 12007 name not resolved, 12029
// cannot connect, 12030 connection aborted, 12031 reset, 12152 invalid server response, ...) and
// text. Thread rule: an object belongs to one thread at a time; different objects may be used at
// once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/text.h"

namespace zv {

inline constexpr uint32_t kOptionConnectTimeout = 2;  // u32, ms
inline constexpr uint32_t kOptionSendTimeout = 5;     // u32, ms without any progress
inline constexpr uint32_t kOptionReceiveTimeout = 6;  // u32, ms without any progress
inline constexpr uint32_t kOptionSecurityFlags = 31;  // u32, request
inline constexpr uint32_t kOptionProxyUser = 43;      // text
inline constexpr uint32_t kOptionProxyPassword = 44;  // text

inline constexpr uint32_t kFlagReload = 0x80000000;
inline constexpr uint32_t kFlagNoCacheWrite = 0x04000000;
inline constexpr uint32_t kFlagSecure = 0x00800000;
inline constexpr uint32_t kFlagIgnoreCertDate = 0x00002000;
inline constexpr uint32_t kFlagIgnoreCertName = 0x00001000;
// A TLS request that takes certificates of other names and dates.
inline constexpr uint32_t kSecureFlags = kFlagSecure | kFlagIgnoreCertName | kFlagIgnoreCertDate;
// For kOptionSecurityFlags: revocation, unknown authority, wrong name, wrong date.
inline constexpr uint32_t kIgnoreCertificateFlags = 0x3180;

enum class AccessType { kDirect = 1, kNamedProxy = 3 };

class InternetSession {
 public:
  // proxy: "host:port" for kNamedProxy, else empty.
  InternetSession(TextView agent, AccessType access, TextView proxy);
  ~InternetSession();
  InternetSession(const InternetSession&) = delete;
  InternetSession& operator=(const InternetSession&) = delete;

  struct Impl;
  Impl& impl() const { return *impl_; }

 private:
  std::unique_ptr<Impl> impl_;
};

class HttpConnection {
 public:
  // Nothing is sent yet. An empty host throws. The session must outlive the connection.
  HttpConnection(InternetSession& session, TextView host, uint16_t port, TextView user,
                 TextView password);
  ~HttpConnection();
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  struct Impl;
  Impl& impl() const { return *impl_; }

 private:
  std::unique_ptr<Impl> impl_;
};

class HttpRequest {
 public:
  // object: the encoded path with its query. version: "HTTP/1.0", or empty for the client's
  // default. The connection must outlive the request.
  HttpRequest(HttpConnection& connection, TextView verb, TextView object, TextView version,
              uint32_t flags);
  ~HttpRequest();
  HttpRequest(const HttpRequest&) = delete;
  HttpRequest& operator=(const HttpRequest&) = delete;

  void SetOption(uint32_t option, uint32_t value);
  // length: how many units of the value count (the caller's business, at most its own length is
  // used safely: units past the end of the value are never read).
  void SetOption(uint32_t option, TextView value, size_t length);
  uint32_t QueryOption(uint32_t option) const;

  // Adds header lines, replacing earlier ones of the same names.
  void AddHeaders(TextView headers);

  // Sends the request whole and waits for the reply's headers. False: not sent, without an
  // exception, LastError() says why.
  bool Send(TextView headers, std::string_view body);

  // A streamed upload: Begin with the body's length, Write the body, End waits for the reply's
  // headers. Begin false: could not be sent, LastError() says why. End false: ending failed,
  // LastError(); also when fewer bytes were written than promised. Writing more than promised
  // throws. When the server replies before it has everything, the rest is dropped and End gives its
  // reply.
  bool Begin(uint64_t content_length);
  void Write(const void* data, size_t size);
  bool End();

  // After the reply's headers are there; 0 and an empty text before.
  uint32_t StatusCode() const;
  Text StatusText() const;
  std::optional<Text> Header(TextView name) const;

  // Reads up to size bytes of the body; 0 at its end. A body that breaks off before its
  // Content-Length, or a stall longer than the receive time-out, throws.
  size_t Read(void* buffer, size_t size);
  // Hint: the size of the pieces that the caller will read.
  void SetReadBuffer(size_t size);

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace zv
