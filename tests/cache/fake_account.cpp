#include "tests/cache/fake_account.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace zv::testing {
namespace {

// std::gmtime is not for several threads.
std::tm Universal(int64_t unix_time) {
  namespace chrono = std::chrono;
  const chrono::sys_seconds time{chrono::seconds(unix_time)};
  const auto day = chrono::floor<chrono::days>(time);
  const chrono::year_month_day date{day};
  const chrono::hh_mm_ss clock{time - day};
  std::tm parts = {};
  parts.tm_year = static_cast<int>(date.year()) - 1900;
  parts.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
  parts.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
  parts.tm_hour = static_cast<int>(clock.hours().count());
  parts.tm_min = static_cast<int>(clock.minutes().count());
  parts.tm_sec = static_cast<int>(clock.seconds().count());
  parts.tm_wday = static_cast<int>(chrono::weekday(day).c_encoding());
  return parts;
}

std::string FormatTime(int64_t unix_time, const char* format) {
  const std::tm parts = Universal(unix_time);
  char text[64];
  return std::string(text, std::strftime(text, sizeof text, format, &parts));
}

std::string Decode(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string Encode(const std::string& text) {
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) || c == '/' || c == '.') {
      out += c;
    } else {
      char code[4];
      std::snprintf(code, sizeof code, "%%%02x", byte);
      out += code;
    }
  }
  return out;
}

}  // namespace

std::string HttpDate(int64_t unix_time) {
  return FormatTime(unix_time, "%a, %d %b %Y %H:%M:%S GMT");
}

FakeAccount::FakeAccount(std::string user) : root_("/users/" + user + "/Files") {
  nodes_["/"] = {true, {}, 1'200'000'000};
  server_.On([this](const Request& request) { return AnswerThenHook(request); });
}

void FakeAccount::AddFolder(const std::string& path, int64_t time) {
  const std::lock_guard lock(mutex_);
  nodes_[path] = {true, {}, time};
}

void FakeAccount::AddFile(const std::string& path, const std::string& content, int64_t time) {
  const std::lock_guard lock(mutex_);
  nodes_[path] = {false, content, time};
}

void FakeAccount::SetTime(const std::string& path, int64_t time) {
  const std::lock_guard lock(mutex_);
  nodes_.at(path).time = time;
}

void FakeAccount::Remove(const std::string& path) {
  const std::lock_guard lock(mutex_);
  RemoveTree(path);
}

bool FakeAccount::Has(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  return nodes_.contains(path);
}

std::optional<std::string> FakeAccount::Content(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  const auto found = nodes_.find(path);
  if (found == nodes_.end()) return std::nullopt;
  return found->second.content;
}

void FakeAccount::Force(const std::string& verb, int status, int count) {
  const std::lock_guard lock(mutex_);
  forced_[verb] = {status, count};
}

size_t FakeAccount::Count(const std::string& verb, const std::string& depth) const {
  size_t count = 0;
  for (const Request& request : server_.requests()) {
    if (request.verb == verb && (depth.empty() || request.Header("Depth") == depth)) ++count;
  }
  return count;
}

std::optional<Reply> FakeAccount::Forced(const std::string& verb) {
  const auto found = forced_.find(verb);
  if (found == forced_.end() || found->second.second == 0) return std::nullopt;
  --found->second.second;
  return Reply::Status(found->second.first);
}

std::string FakeAccount::PathOf(std::string target) const {
  const size_t scheme = target.find("://");
  if (scheme != std::string::npos) target.erase(0, target.find('/', scheme + 3));
  std::string path = Decode(target);
  if (path.starts_with(root_)) path.erase(0, root_.size());
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path.empty() ? "/" : path;
}

void FakeAccount::OnAnswer(std::function<void(const Request&)> hook) {
  const std::lock_guard lock(mutex_);
  hook_ = std::move(hook);
}

Reply FakeAccount::AnswerThenHook(const Request& request) {
  std::function<void(const Request&)> hook;
  Reply reply;
  {
    const std::lock_guard lock(mutex_);
    reply = Answer(request);
    hook = hook_;
  }
  if (hook) hook(request);
  return reply;
}

// Under the lock.
Reply FakeAccount::Answer(const Request& request) {
  if (auto forced = Forced(request.verb)) return *forced;
  const std::string path = PathOf(request.target);
  if (request.verb == "PUT") return Store(request, path);
  if (request.verb == "MKCOL") {
    if (nodes_.contains(path)) return Reply::Status(405);
    nodes_[path] = {true, {}, 1'200'000'000};
    return Reply::Status(201);
  }
  if (!nodes_.contains(path)) return Reply::Status(404);
  if (request.verb == "PROPFIND") return List(path, request.Header("Depth") == "1");
  if (request.verb == "GET" || request.verb == "HEAD") return Send(request, path);
  if (request.verb == "DELETE") return Reply::Status(RemoveTree(path) ? 204 : 404);
  if (request.verb == "MOVE") return Move(request, path);
  return Reply::Status(405);
}

Reply FakeAccount::List(const std::string& path, bool members) {
  std::string body;
  const std::string prefix = path == "/" ? path : path + "/";
  for (const auto& [name, node] : nodes_) {
    const bool member = name != "/" && name.starts_with(prefix) &&
                        name.find('/', prefix.size()) == std::string::npos;
    if (members && member) body += ResponseOf(name, node);
  }
  body += ResponseOf(path, nodes_.at(path));
  return Reply::Status(207)
      .Header("Content-Type", "text/xml")
      .Body(
          "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
          "<D:multistatus xmlns:D=\"DAV:\" xmlns:lp0=\"DAV:\">" +
          body + "</D:multistatus>");
}

std::string FakeAccount::ResponseOf(const std::string& path, const Node& node) const {
  const std::string slash = node.is_folder && path != "/" ? "/" : "";
  return "<D:response><D:href>" + Encode(root_ + path) + slash +
         "</D:href><D:propstat><D:prop><lp0:getcontentlength>" +
         std::to_string(node.content.size()) + "</lp0:getcontentlength><lp0:creationdate>" +
         FormatTime(node.time, "%Y-%m-%dT%H:%M:%SZ") + "</lp0:creationdate><lp0:getlastmodified>" +
         HttpDate(node.time) +
         "</lp0:getlastmodified><D:quota>1000</D:quota><D:used>7</D:used></D:prop>"
         "<D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>";
}

Reply FakeAccount::Send(const Request& request, const std::string& path) {
  const Node& node = nodes_.at(path);
  return Reply::Content(request, node.content).Header("Last-Modified", HttpDate(node.time));
}

Reply FakeAccount::Store(const Request& request, const std::string& path) {
  const bool known = nodes_.contains(path);
  nodes_[path] = {false, request.body, 1'300'000'000};
  return Reply::Status(known ? 204 : 201);
}

Reply FakeAccount::Move(const Request& request, const std::string& path) {
  const std::string target = PathOf(request.Header("Destination"));
  if (nodes_.contains(target)) return Reply::Status(412);
  std::map<std::string, Node> moved;
  for (const auto& [name, node] : nodes_) {
    if (name == path || name.starts_with(path + "/"))
      moved[target + name.substr(path.size())] = node;
  }
  RemoveTree(path);
  nodes_.merge(moved);
  return Reply::Status(201);
}

size_t FakeAccount::RemoveTree(const std::string& path) {
  return std::erase_if(nodes_, [&](const auto& item) {
    return item.first == path || item.first.starts_with(path + "/");
  });
}

}  // namespace zv::testing
