// A scripted HTTP/1.1 server for tests, with a thread for each connection.
//
//   HttpServer server;
//   server.On([](const Request& request) { return Reply::Status(207).Body(xml); });
//   ... a client talks to server.address() and server.port() ...
//   EXPECT_EQ(server.requests().at(0).verb, "PROPFIND");
//
// A reply comes from the queue (Enqueue) while it holds one, else from the handler (On), else it is
// 404.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/http_reply.h"

namespace zv::testing {

// Any thread may call any member at any time. Handlers run on the connections' threads, several at
// once.
class HttpServer {
 public:
  using Handler = std::function<Reply(const Request& request)>;
  using HeadHandler = std::function<BodyRule(const Request& request)>;
  using BodyObserver = std::function<void(const Request& request, std::string_view piece)>;

  // Listens on a loopback address that nobody else has on this port now.
  explicit HttpServer(uint16_t port = 80);
  // Listens on this address; throws std::runtime_error when that cannot be.
  HttpServer(const std::string& address, uint16_t port);
  // Breaks every connection and waits for their threads.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  const std::string& address() const;
  // The address as UTF-16 text, for what takes host names.
  std::u16string host() const;
  uint16_t port() const;

  void On(Handler handler);
  // Asked as soon as the head of a request is there, before its body.
  void OnHead(HeadHandler handler);
  // Shown every piece of every body, in order.
  void OnBody(BodyObserver observer);
  void Enqueue(Reply reply);
  // At most this many bytes of each body are kept in Request::body (default: all); the rest is
  // counted.
  void KeepBodies(uint64_t bytes);

  // Ends every stall, those to come too.
  void Release();
  // Closes all connections that are open now, whatever they do; new ones are served.
  void CloseConnections();

  // All requests whose head arrived, in that order.
  std::vector<Request> requests() const;
  size_t request_count() const;
  size_t connection_count() const;
  // "VERB target" of all requests.
  std::vector<std::string> lines() const;
  // Forgets the requests so far; numbering goes on.
  void ClearRequests();

  // Wait until it is so; false when it has not come in half a minute.
  bool WaitForRequests(size_t count) const;
  bool WaitForBodyBytes(uint64_t total) const;  // over all requests since the last ClearRequests

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zv::testing
