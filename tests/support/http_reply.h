// What the scripted server received, and what it is told to answer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zv::testing {

using Headers = std::vector<std::pair<std::string, std::string>>;

// Bytes that tell one place of a large body from another: the same for the same offset, always.
std::string PatternBytes(uint64_t offset, size_t size);

// One request as it came.
struct Request {
  size_t number = 0;      // 0 for the server's first request
  size_t connection = 0;  // 0 for the server's first connection
  std::string verb, target, version;
  Headers headers;             // in order, repeated lines kept
  std::string head;            // raw, with the empty line that ends it
  std::string body;            // what the server keeps of it (all, unless it was told otherwise)
  uint64_t body_size = 0;      // bytes of the body that arrived
  bool body_complete = false;  // all that Content-Length promised arrived

  // The first line of this name (case-blind), without blanks around the value; empty when missing.
  std::string Header(std::string_view name) const;
  size_t CountHeaders(std::string_view name) const;
};

// What happens to the body of a request before the reply is looked up. The first bytes are taken in
// any case.
struct BodyRule {
  enum class Then {
    kReadAll,  // take the whole body, then reply
    kClose,    // close the connection, without a reply
    kReset,    // the same with a reset
    kStall,    // take nothing more until the server's Release, then the rest
    kReply,    // reply although the body has not ended, take no more and end the connection
  };
  Then then = Then::kReadAll;
  uint64_t after = 0;  // bytes of the body taken before that

  static BodyRule ReadAll() { return {}; }
  static BodyRule CloseAfter(uint64_t bytes) { return {Then::kClose, bytes}; }
  static BodyRule ResetAfter(uint64_t bytes) { return {Then::kReset, bytes}; }
  static BodyRule StallAfter(uint64_t bytes) { return {Then::kStall, bytes}; }
  static BodyRule ReplyAfter(uint64_t bytes) { return {Then::kReply, bytes}; }
};

// One scripted answer, built by chaining: Reply::Status(207).Header("A",
// "b").Body(xml).CloseAfter(10). Content-Length is added by itself, unless a rule below says
// otherwise.
class Reply {
 public:
  enum class Fault { kNone, kClose, kReset, kStall };
  using Filler = std::function<std::string(uint64_t offset, size_t size)>;

  // An empty reason stands for the usual one of the status.
  static Reply Status(int status, std::string reason = {});
  // These bytes, without a status line; then the connection is closed.
  static Reply Raw(std::string bytes);
  // No byte at all: the connection is closed, reset, or silent until Release or the server's end.
  static Reply Drop();
  static Reply Reset();
  static Reply Silence();
  // 200 to a CONNECT; from then on the connection is one with this server.
  static Reply Tunnel(std::string address, uint16_t port);
  // 200 with the whole content, or what the request's Range line asks for: 206, or 416. Of an empty
  // one every part is the whole, as Apache sees it.
  static Reply Content(const Request& request, const std::string& content);

  Reply& Header(std::string name, std::string value);
  Reply& Body(std::string body);
  // A body that is made while it is sent; by default of PatternBytes.
  Reply& LongBody(uint64_t size, Filler filler = PatternBytes);
  // Says another length than the body has.
  Reply& SayLength(uint64_t length);
  // Says no length: the body ends with the connection.
  Reply& SayNoLength();
  // In chunks of this many bytes.
  Reply& Chunked(size_t size);
  // "Connection: close", and it is.
  Reply& Closing();
  // After this many bytes of the body. A stall goes on after Release.
  Reply& CloseAfter(uint64_t bytes) { return Break(Fault::kClose, bytes); }
  Reply& ResetAfter(uint64_t bytes) { return Break(Fault::kReset, bytes); }
  Reply& StallAfter(uint64_t bytes) { return Break(Fault::kStall, bytes); }

  // For the server: status line and header lines with the empty line, for a request of this verb.
  std::string Head(std::string_view verb) const;
  bool has_body(std::string_view verb) const;
  std::string BodyPiece(uint64_t offset, size_t size) const;

  uint64_t body_size() const { return filler_ ? long_size_ : body_.size(); }
  bool is_raw() const { return raw_; }
  bool closes() const { return closing_ || raw_ || no_length_; }
  size_t chunk_size() const { return chunk_size_; }
  Fault fault() const { return fault_; }
  uint64_t fault_after() const { return fault_after_; }
  // The fault comes before the first byte of the head.
  bool is_silent() const { return silent_; }
  bool is_tunnel() const { return tunnel_port_ != 0; }
  const std::string& tunnel_address() const { return tunnel_address_; }
  uint16_t tunnel_port() const { return tunnel_port_; }

 private:
  Reply& Break(Fault fault, uint64_t after);

  int status_ = 200;
  std::string reason_;
  Headers headers_;
  std::string body_;
  Filler filler_;
  uint64_t long_size_ = 0;
  std::optional<uint64_t> said_length_;
  bool no_length_ = false;
  bool closing_ = false;
  bool raw_ = false;
  bool silent_ = false;
  size_t chunk_size_ = 0;
  Fault fault_ = Fault::kNone;
  uint64_t fault_after_ = 0;
  std::string tunnel_address_;
  uint16_t tunnel_port_ = 0;
};

}  // namespace zv::testing
