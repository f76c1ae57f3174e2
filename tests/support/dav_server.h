// An account server in memory: one user's folders and files, in the dialect that listings are read
// in (prefixes D: and lp0:, the requested folder last, D:quota and D:used in mebibytes). Its clock
// stands still between changes, so that every run of a test sees the same times.
//
//   HttpServer server;
//   DavServer account(server);
//   account.PutFile("/Docs/a.txt", "text");
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "tests/support/http_server.h"

namespace zv::testing {

// Every file with its content and every folder (nullopt) but the root, by path.
using DavTree = std::map<std::string, std::optional<std::string>>;

// Paths begin with "/" below the account's root, as UTF-8, folders without a slash at the end. Any
// thread.
class DavServer {
 public:
  static constexpr std::string_view kAccountRoot = "/users/user/Files";
  // The clock's first moment: 2026-11-15 14:03:08 UTC. It goes on by two seconds with every change.
  static constexpr int64_t kFirstTime = 1794751388;
  static constexpr int64_t kQuotaMib = 100;

  // Answers the server's requests from now on; the server must not outlive it by a request.
  explicit DavServer(HttpServer& server);

  // Changes from aside, as another client would make them; folders above are made, too.
  void PutFile(std::string_view path, std::string content);
  void PutFolder(std::string_view path);
  void Remove(std::string_view path);

  DavTree Tree() const;
  // nullopt: absent, or a folder.
  std::optional<std::string> File(std::string_view path) const;

  Reply Answer(const Request& request);
  // A piece of a PUT's body: what came of a broken one can be gone on with.
  void TakePiece(const Request& request, std::string_view piece);

 private:
  struct Node {
    bool is_folder = false;
    std::string content;
    int64_t created = kFirstTime;  // seconds since 1970
    int64_t modified = kFirstTime;
  };
  struct Target {
    std::string path;
    bool is_folder_form = false;  // with a slash at the end
  };

  static std::optional<Target> TargetOf(std::string_view url_path);
  Reply AnswerKnown(const Request& request, const Target& target);
  Reply ListProperties(const Request& request, const Target& target) const;
  std::string ResponseElement(const std::string& path, const Node& node, bool is_whole,
                              bool is_requested) const;
  Reply Send(const Request& request, const std::string& path) const;
  Reply Store(const Request& request, const std::string& path);
  Reply StoreRange(const Request& request, const std::string& path, const std::string& range);
  Reply MakeFolder(const std::string& path);
  Reply Move(const Request& request, const std::string& path);
  Reply Delete(const std::string& path);

  bool IsFolder(const std::string& path) const;
  void PutNode(const std::string& path, bool is_folder, std::string content);
  void Erase(const std::string& path);
  void Touch(const std::string& path);
  int64_t UsedMib() const;

  mutable std::mutex mutex_;
  std::map<std::string, Node> nodes_{{"", Node{.is_folder = true, .content = {}}}};  // "": the root
  std::map<std::string, std::string> begun_;  // what arrived of the last PUT of a path, so far
  int64_t now_ = kFirstTime;
};

}  // namespace zv::testing
