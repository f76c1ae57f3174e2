// An account in memory behind the scripted HTTP server: as much of WebDAV as the drive asks for.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "tests/support/http_server.h"

namespace zv::testing {

// Times are seconds since 1970. Any thread.
class FakeAccount {
 public:
  explicit FakeAccount(std::string user = "u");

  HttpServer& server() { return server_; }

  // Paths relative to the account's root: "/Docs", "/Docs/a.txt"; the root is "/".
  void AddFolder(const std::string& path, int64_t time);
  void AddFile(const std::string& path, const std::string& content, int64_t time);
  void SetTime(const std::string& path, int64_t time);
  void Remove(const std::string& path);
  bool Has(const std::string& path) const;
  std::optional<std::string> Content(const std::string& path) const;

  // The next `count` requests with this verb get this status and change nothing.
  void Force(const std::string& verb, int status, int count = 1);

  // Called for each request when its answer is made up but not sent, on the connection's thread.
  void OnAnswer(std::function<void(const Request& request)> hook);

  // Requests so far with this verb, and with this Depth line when one is given.
  size_t Count(const std::string& verb, const std::string& depth = {}) const;

 private:
  struct Node {
    bool is_folder = false;
    std::string content;
    int64_t time = 0;
  };

  Reply AnswerThenHook(const Request& request);
  Reply Answer(const Request& request);
  Reply List(const std::string& path, bool members);
  Reply Send(const Request& request, const std::string& path);
  Reply Store(const Request& request, const std::string& path);
  Reply Move(const Request& request, const std::string& path);
  std::string ResponseOf(const std::string& path, const Node& node) const;
  std::string PathOf(std::string target) const;
  std::optional<Reply> Forced(const std::string& verb);
  size_t RemoveTree(const std::string& path);

  mutable std::mutex mutex_;
  std::string root_;
  std::map<std::string, Node> nodes_;
  std::map<std::string, std::pair<int, int>> forced_;
  std::function<void(const Request&)> hook_;
  HttpServer server_;
};

// "Sat, 07 Feb 2009 10:00:00 GMT"
std::string HttpDate(int64_t unix_time);

}  // namespace zv::testing
