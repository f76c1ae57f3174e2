#include "tests/support/http_reply.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>

namespace zv::testing {
namespace {

bool SameName(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) ==
           std::tolower(static_cast<unsigned char>(y));
  });
}

std::string UsualReason(int status) {
  static const std::map<int, std::string> reasons = {
      {200, "OK"},
      {201, "Created"},
      {204, "No Content"},
      {206, "Partial Content"},
      {207, "Multi-Status"},
      {301, "Moved Permanently"},
      {302, "Found"},
      {400, "Bad Request"},
      {401, "Unauthorized"},
      {403, "Forbidden"},
      {404, "Not Found"},
      {405, "Method Not Allowed"},
      {407, "Proxy Authentication Required"},
      {409, "Conflict"},
      {412, "Precondition Failed"},
      {416, "Range Not Satisfiable"},
      {423, "Locked"},
      {500, "Internal Server Error"},
      {502, "Bad Gateway"},
      {503, "Service Unavailable"},
      {507, "Insufficient Storage"},
  };
  const auto found = reasons.find(status);
  return found == reasons.end() ? "Status" : found->second;
}

// A prime length keeps the pattern from lining up with any buffer size.
constexpr size_t kPatternPeriod = 65521;

std::array<char, kPatternPeriod> MakePattern() {
  std::array<char, kPatternPeriod> result;
  uint32_t state = 2463534242u;
  for (char& byte : result) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    byte = static_cast<char>(state >> 24);
  }
  return result;
}

}  // namespace

std::string PatternBytes(uint64_t offset, size_t size) {
  static const std::array<char, kPatternPeriod> pattern = MakePattern();
  std::string result;
  result.reserve(size);
  while (result.size() < size) {
    const size_t from = static_cast<size_t>((offset + result.size()) % kPatternPeriod);
    result.append(pattern.data() + from, std::min(kPatternPeriod - from, size - result.size()));
  }
  return result;
}

std::string Request::Header(std::string_view name) const {
  for (const auto& [line_name, value] : headers) {
    if (SameName(line_name, name)) return value;
  }
  return {};
}

size_t Request::CountHeaders(std::string_view name) const {
  return static_cast<size_t>(std::ranges::count_if(
      headers, [name](const auto& line) { return SameName(line.first, name); }));
}

Reply Reply::Status(int status, std::string reason) {
  Reply reply;
  reply.status_ = status;
  reply.reason_ = reason.empty() ? UsualReason(status) : std::move(reason);
  return reply;
}

Reply Reply::Raw(std::string bytes) {
  Reply reply;
  reply.raw_ = true;
  reply.body_ = std::move(bytes);
  return reply;
}

Reply Reply::Drop() {
  Reply reply;
  reply.silent_ = true;
  return reply.Break(Fault::kClose, 0);
}

Reply Reply::Reset() {
  Reply reply;
  reply.silent_ = true;
  return reply.Break(Fault::kReset, 0);
}

Reply Reply::Silence() {
  Reply reply;
  reply.silent_ = true;
  return reply.Break(Fault::kStall, 0);
}

Reply Reply::Tunnel(std::string address, uint16_t port) {
  Reply reply = Status(200, "Connection established").SayNoLength();
  reply.tunnel_address_ = std::move(address);
  reply.tunnel_port_ = port;
  return reply;
}

Reply Reply::Content(const Request& request, const std::string& content) {
  unsigned long long first = 0;
  unsigned long long last = 0;
  const int fields = std::sscanf(request.Header("Range").c_str(), "bytes=%llu-%llu", &first, &last);
  if (fields < 1 || content.empty()) return Status(200).Body(content);
  if (first >= content.size()) {
    return Status(416).Header("Content-Range", "bytes */" + std::to_string(content.size()));
  }
  if (fields < 2 || last >= content.size()) last = content.size() - 1;
  return Status(206)
      .Header("Content-Range", "bytes " + std::to_string(first) + "-" + std::to_string(last) + "/" +
                                   std::to_string(content.size()))
      .Body(content.substr(first, last - first + 1));
}

Reply& Reply::Header(std::string name, std::string value) {
  headers_.emplace_back(std::move(name), std::move(value));
  return *this;
}

Reply& Reply::Body(std::string body) {
  body_ = std::move(body);
  return *this;
}

Reply& Reply::LongBody(uint64_t size, Filler filler) {
  long_size_ = size;
  filler_ = std::move(filler);
  return *this;
}

Reply& Reply::SayLength(uint64_t length) {
  said_length_ = length;
  return *this;
}

Reply& Reply::SayNoLength() {
  no_length_ = true;
  return *this;
}

Reply& Reply::Chunked(size_t size) {
  chunk_size_ = size;
  return *this;
}

Reply& Reply::Closing() {
  closing_ = true;
  return *this;
}

Reply& Reply::Break(Fault fault, uint64_t after) {
  fault_ = fault;
  fault_after_ = after;
  return *this;
}

bool Reply::has_body(std::string_view verb) const {
  return raw_ || (verb != "HEAD" && status_ != 204 && status_ != 304);
}

std::string Reply::Head(std::string_view verb) const {
  if (raw_) return {};
  std::string head = "HTTP/1.1 " + std::to_string(status_) + " " + reason_ + "\r\n";
  for (const auto& [name, value] : headers_) head += name + ": " + value + "\r\n";
  if (chunk_size_ != 0) {
    head += "Transfer-Encoding: chunked\r\n";
  } else if (!no_length_ && (has_body(verb) || verb == "HEAD")) {
    head += "Content-Length: " + std::to_string(said_length_.value_or(body_size())) + "\r\n";
  }
  if (closing_) head += "Connection: close\r\n";
  return head + "\r\n";
}

std::string Reply::BodyPiece(uint64_t offset, size_t size) const {
  if (offset >= body_size()) return {};
  size = static_cast<size_t>(std::min<uint64_t>(size, body_size() - offset));
  return filler_ ? filler_(offset, size) : body_.substr(static_cast<size_t>(offset), size);
}

}  // namespace zv::testing
