#include "tests/support/http_server.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <limits>
#include <list>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>

#include "tests/support/socket.h"

namespace zv::testing {
namespace {

constexpr size_t kPieceSize = 256 * 1024;
constexpr size_t kLongestHead = 256 * 1024;
constexpr std::chrono::seconds kPatience{30};

std::string TrimBlanks(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

Request ParseHead(std::string head) {
  Request request;
  size_t line_start = 0;
  for (size_t end; (end = head.find("\r\n", line_start)) != std::string::npos;
       line_start = end + 2) {
    const std::string_view line = std::string_view(head).substr(line_start, end - line_start);
    if (line_start == 0) {
      const size_t first = std::min(line.find(' '), line.size());
      const size_t last = std::max(std::min(line.rfind(' '), line.size()), first);
      request.verb = line.substr(0, first);
      if (last > first) request.target = line.substr(first + 1, last - first - 1);
      if (last < line.size()) request.version = line.substr(last + 1);
    } else if (const size_t colon = line.find(':'); colon != std::string_view::npos) {
      request.headers.emplace_back(line.substr(0, colon), TrimBlanks(line.substr(colon + 1)));
    }
  }
  request.head = std::move(head);
  return request;
}

}  // namespace

struct HttpServer::Impl {
  // One connection: its socket stays where it is until its thread has ended.
  struct Line {
    Socket socket;
    size_t number = 0;
    std::string pending;  // received, not used yet
    std::thread thread;
  };

  Impl(std::string where, uint16_t on_port, Socket listening)
      : address(std::move(where)), port(on_port), listener(std::move(listening)) {
    accepting = std::thread([this] { AcceptAll(); });
  }
  ~Impl();

  void AcceptAll();
  void Serve(Line& line);
  bool TakeHead(Line& line, Request* request);
  // False when the connection is at its end.
  bool TakeBody(Line& line, Request& request, const BodyRule& rule);
  bool TakeBodyBytes(Line& line, Request& request, uint64_t up_to);
  void NoteBody(Request& request, std::string_view piece);
  Reply NextReply(const Request& request);
  bool SendReply(Line& line, const Request& request, const Reply& reply);
  bool SendBodyBytes(Line& line, const Reply& reply, uint64_t from, uint64_t to);
  bool ApplyFault(Line& line, Reply::Fault fault);
  void JoinTunnel(Line& line, const Reply& reply);
  void EndGently(Line& line);
  void WaitForRelease();
  bool WaitUntil(const std::function<bool()>& condition) const;

  const std::string address;
  const uint16_t port;
  Socket listener;
  std::thread accepting;

  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  std::list<Line> open_lines;
  std::deque<Request> log;
  std::deque<Reply> queue;
  Handler handler;
  HeadHandler head_handler;
  BodyObserver body_observer;
  uint64_t kept_body = std::numeric_limits<uint64_t>::max();
  uint64_t body_bytes = 0;
  size_t next_request = 0;
  size_t first_logged = 0;
  size_t next_line = 0;
  bool released = false;
  bool stopping = false;
};

HttpServer::Impl::~Impl() {
  {
    const std::lock_guard lock(mutex);
    stopping = true;
    for (const Line& line : open_lines) {
      if (line.socket.is_open()) line.socket.ShutDown();
    }
  }
  changed.notify_all();
  listener.ShutDown();
  Socket::Connect(address, port);  // where a shut-down listener does not wake up
  accepting.join();
  for (Line& line : open_lines) line.thread.join();
}

void HttpServer::Impl::AcceptAll() {
  while (true) {
    Socket socket = listener.Accept();
    const std::lock_guard lock(mutex);
    if (stopping || !socket.is_open()) return;
    Line& line = open_lines.emplace_back();
    line.socket = std::move(socket);
    line.number = next_line++;
    line.thread = std::thread([this, &line] { Serve(line); });
    changed.notify_all();
  }
}

void HttpServer::Impl::Serve(Line& line) {
  Request request;
  while (TakeHead(line, &request)) {
    HeadHandler on_head;
    {
      const std::lock_guard lock(mutex);
      on_head = head_handler;
    }
    const BodyRule rule = on_head ? on_head(request) : BodyRule::ReadAll();
    if (!TakeBody(line, request, rule)) break;
    if (!SendReply(line, request, NextReply(request))) break;
    if (!request.body_complete || request.version == "HTTP/1.0") {
      EndGently(line);
      break;
    }
  }
  const std::lock_guard lock(mutex);  // against ShutDown of a socket that is being closed
  line.socket.Close();
}

bool HttpServer::Impl::TakeHead(Line& line, Request* request) {
  size_t end;
  while ((end = line.pending.find("\r\n\r\n")) == std::string::npos) {
    if (line.pending.size() > kLongestHead) return false;
    char piece[16384];
    const size_t got = line.socket.Receive(piece, sizeof piece);
    if (got == 0) return false;
    line.pending.append(piece, got);
  }
  *request = ParseHead(line.pending.substr(0, end + 4));
  line.pending.erase(0, end + 4);
  const std::lock_guard lock(mutex);
  request->number = next_request++;
  request->connection = line.number;
  log.push_back(*request);
  changed.notify_all();
  return true;
}

void HttpServer::Impl::NoteBody(Request& request, std::string_view piece) {
  BodyObserver observer;
  {
    const std::lock_guard lock(mutex);
    const uint64_t room = kept_body - std::min<uint64_t>(kept_body, request.body.size());
    const std::string_view kept = piece.substr(0, std::min<uint64_t>(room, piece.size()));
    request.body.append(kept);
    request.body_size += piece.size();
    if (request.number >= first_logged) {
      Request& logged = log[request.number - first_logged];
      logged.body.append(kept);
      logged.body_size = request.body_size;
      body_bytes += piece.size();
    }
    observer = body_observer;
    changed.notify_all();
  }
  if (observer) observer(request, piece);
}

bool HttpServer::Impl::TakeBodyBytes(Line& line, Request& request, uint64_t up_to) {
  std::string piece;
  while (request.body_size < up_to) {
    const uint64_t wanted = std::min<uint64_t>(up_to - request.body_size, kPieceSize);
    if (!line.pending.empty()) {
      piece = line.pending.substr(0, wanted);
      line.pending.erase(0, piece.size());
    } else {
      piece.resize(wanted);
      piece.resize(line.socket.Receive(piece.data(), wanted));
      if (piece.empty()) return false;
    }
    NoteBody(request, piece);
  }
  return true;
}

bool HttpServer::Impl::TakeBody(Line& line, Request& request, const BodyRule& rule) {
  const uint64_t length = std::strtoull(request.Header("Content-Length").c_str(), nullptr, 10);
  const bool all = rule.then == BodyRule::Then::kReadAll;
  if (!TakeBodyBytes(line, request, all ? length : std::min(length, rule.after))) return false;
  switch (rule.then) {
    case BodyRule::Then::kClose:
      return ApplyFault(line, Reply::Fault::kClose);
    case BodyRule::Then::kReset:
      return ApplyFault(line, Reply::Fault::kReset);
    case BodyRule::Then::kStall:
      WaitForRelease();
      if (!TakeBodyBytes(line, request, length)) return false;
      break;
    case BodyRule::Then::kReadAll:
    case BodyRule::Then::kReply:
      break;
  }
  request.body_complete = request.body_size == length;
  const std::lock_guard lock(mutex);
  if (request.number >= first_logged) {
    log[request.number - first_logged].body_complete = request.body_complete;
  }
  return true;
}

Reply HttpServer::Impl::NextReply(const Request& request) {
  Handler current;
  {
    const std::lock_guard lock(mutex);
    if (!queue.empty()) {
      Reply reply = std::move(queue.front());
      queue.pop_front();
      return reply;
    }
    current = handler;
  }
  return current ? current(request) : Reply::Status(404);
}

bool HttpServer::Impl::SendReply(Line& line, const Request& request, const Reply& reply) {
  if (reply.is_silent()) return ApplyFault(line, reply.fault());
  const std::string head = reply.Head(request.verb);
  if (!line.socket.Send(head.data(), head.size())) return false;
  if (reply.is_tunnel()) {
    JoinTunnel(line, reply);
    return false;
  }
  if (reply.has_body(request.verb)) {
    const uint64_t size = reply.body_size();
    if (reply.fault() == Reply::Fault::kNone) {
      if (!SendBodyBytes(line, reply, 0, size)) return false;
    } else {
      const uint64_t first = std::min(size, reply.fault_after());
      if (!SendBodyBytes(line, reply, 0, first) || !ApplyFault(line, reply.fault())) return false;
      if (!SendBodyBytes(line, reply, first, size)) return false;
    }
    static constexpr std::string_view kLastChunk = "0\r\n\r\n";
    if (reply.chunk_size() != 0 && !line.socket.Send(kLastChunk.data(), kLastChunk.size())) {
      return false;
    }
  }
  if (!reply.closes()) return true;
  EndGently(line);
  return false;
}

bool HttpServer::Impl::SendBodyBytes(Line& line, const Reply& reply, uint64_t from, uint64_t to) {
  const size_t chunk = reply.chunk_size();
  while (from < to) {
    const uint64_t wanted = std::min<uint64_t>(to - from, chunk != 0 ? chunk : kPieceSize);
    std::string piece = reply.BodyPiece(from, static_cast<size_t>(wanted));
    if (piece.empty()) return false;  // the filler gave up
    from += piece.size();
    if (chunk != 0) {
      char size_line[24];
      std::snprintf(size_line, sizeof size_line, "%zx\r\n", piece.size());
      piece = size_line + piece + "\r\n";
    }
    if (!line.socket.Send(piece.data(), piece.size())) return false;
  }
  return true;
}

// True when the connection is to go on.
bool HttpServer::Impl::ApplyFault(Line& line, Reply::Fault fault) {
  const auto close_with_lock = [&](void (Socket::*how)()) {
    const std::lock_guard lock(mutex);
    (line.socket.*how)();
    return false;
  };
  switch (fault) {
    case Reply::Fault::kClose:
      return close_with_lock(&Socket::Close);
    case Reply::Fault::kReset:
      return close_with_lock(&Socket::Reset);
    case Reply::Fault::kStall:
      WaitForRelease();
      return true;
    case Reply::Fault::kNone:
      break;
  }
  return true;
}

// Hands bytes on both ways until both sides have ended.
void HttpServer::Impl::JoinTunnel(Line& line, const Reply& reply) {
  const Socket target = Socket::Connect(reply.tunnel_address(), reply.tunnel_port());
  if (!target.is_open()) return;
  const auto pump = [](const Socket& from, const Socket& to) {
    std::string piece(kPieceSize, '\0');
    size_t got = 0;
    while ((got = from.Receive(piece.data(), piece.size())) != 0 && to.Send(piece.data(), got)) {
    }
    to.ShutDown();
    from.ShutDown();
  };
  std::thread back([&] { pump(target, line.socket); });
  pump(line.socket, target);
  back.join();
}

// The client reads the reply to its end: a plain close with bytes of the client still unread would
// become a reset and could destroy the reply on its way.
void HttpServer::Impl::EndGently(Line& line) {
  line.socket.ShutDownSending();
  std::string rest(kPieceSize, '\0');
  while (line.socket.Receive(rest.data(), rest.size()) != 0) {
  }
}

void HttpServer::Impl::WaitForRelease() {
  std::unique_lock lock(mutex);
  changed.wait(lock, [this] { return released || stopping; });
}

bool HttpServer::Impl::WaitUntil(const std::function<bool()>& condition) const {
  std::unique_lock lock(mutex);
  return changed.wait_for(lock, kPatience, condition);
}

namespace {

std::string RandomLoopbackAddress() {
  std::random_device random;
  const auto part = [&random](unsigned first, unsigned count) {
    return std::to_string(first + random() % count);
  };
  return "127." + part(64, 64) + "." + part(0, 256) + "." + part(1, 254);
}

}  // namespace

HttpServer::HttpServer(uint16_t port) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    const std::string address = RandomLoopbackAddress();
    Socket listener = Socket::Listen(address, port);
    if (!listener.is_open()) continue;
    impl_ = std::make_unique<Impl>(address, port, std::move(listener));
    return;
  }
  throw std::runtime_error("no loopback address can be listened on");
}

HttpServer::HttpServer(const std::string& address, uint16_t port) {
  Socket listener = Socket::Listen(address, port);
  if (!listener.is_open()) throw std::runtime_error("cannot listen on " + address);
  impl_ = std::make_unique<Impl>(address, port, std::move(listener));
}

HttpServer::~HttpServer() = default;

const std::string& HttpServer::address() const { return impl_->address; }

std::u16string HttpServer::host() const {
  return std::u16string(impl_->address.begin(), impl_->address.end());
}

uint16_t HttpServer::port() const { return impl_->port; }

void HttpServer::On(Handler handler) {
  const std::lock_guard lock(impl_->mutex);
  impl_->handler = std::move(handler);
}

void HttpServer::OnHead(HeadHandler handler) {
  const std::lock_guard lock(impl_->mutex);
  impl_->head_handler = std::move(handler);
}

void HttpServer::OnBody(BodyObserver observer) {
  const std::lock_guard lock(impl_->mutex);
  impl_->body_observer = std::move(observer);
}

void HttpServer::Enqueue(Reply reply) {
  const std::lock_guard lock(impl_->mutex);
  impl_->queue.push_back(std::move(reply));
}

void HttpServer::KeepBodies(uint64_t bytes) {
  const std::lock_guard lock(impl_->mutex);
  impl_->kept_body = bytes;
}

void HttpServer::Release() {
  const std::lock_guard lock(impl_->mutex);
  impl_->released = true;
  impl_->changed.notify_all();
}

void HttpServer::CloseConnections() {
  const std::lock_guard lock(impl_->mutex);
  for (const Impl::Line& line : impl_->open_lines) {
    if (line.socket.is_open()) line.socket.ShutDown();
  }
}

std::vector<Request> HttpServer::requests() const {
  const std::lock_guard lock(impl_->mutex);
  return {impl_->log.begin(), impl_->log.end()};
}

size_t HttpServer::request_count() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->log.size();
}

size_t HttpServer::connection_count() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->next_line;
}

std::vector<std::string> HttpServer::lines() const {
  const std::lock_guard lock(impl_->mutex);
  std::vector<std::string> result;
  for (const Request& request : impl_->log) result.push_back(request.verb + " " + request.target);
  return result;
}

void HttpServer::ClearRequests() {
  const std::lock_guard lock(impl_->mutex);
  impl_->log.clear();
  impl_->first_logged = impl_->next_request;
  impl_->body_bytes = 0;
}

bool HttpServer::WaitForRequests(size_t count) const {
  return impl_->WaitUntil([this, count] { return impl_->log.size() >= count; });
}

bool HttpServer::WaitForBodyBytes(uint64_t total) const {
  return impl_->WaitUntil([this, total] { return impl_->body_bytes >= total; });
}

}  // namespace zv::testing
