#include "tests/support/dav_server.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace zv::testing {
namespace {

constexpr int64_t kTick = 2;  // seconds
constexpr int64_t kMebibyte = 1 << 20;

std::string ParentOf(std::string_view path) { return std::string(path.substr(0, path.rfind('/'))); }

bool IsWithin(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::tm UtcOf(int64_t time) {
  using std::chrono::sys_days, std::chrono::sys_seconds, std::chrono::seconds;
  const sys_seconds moment{seconds(time)};
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(moment - day);
  std::tm utc{};
  utc.tm_year = static_cast<int>(date.year()) - 1900;
  utc.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
  utc.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
  utc.tm_wday = static_cast<int>(std::chrono::weekday(day).c_encoding());
  utc.tm_hour = static_cast<int>(clock.hours().count());
  utc.tm_min = static_cast<int>(clock.minutes().count());
  utc.tm_sec = static_cast<int>(clock.seconds().count());
  return utc;
}

std::string FormatTime(int64_t time, const char* format) {
  const std::tm utc = UtcOf(time);
  char text[64];
  return std::string(text, std::strftime(text, sizeof text, format, &utc));
}

// RFC 1123 and ISO 8601.
std::string HttpDate(int64_t time) { return FormatTime(time, "%a, %d %b %Y %H:%M:%S GMT"); }
std::string IsoDate(int64_t time) { return FormatTime(time, "%Y-%m-%dT%H:%M:%SZ"); }

int HexDigit(char c) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const size_t at = kDigits.find(static_cast<char>(c >= 'A' && c <= 'F' ? c + ('a' - 'A') : c));
  return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

std::string Decode(std::string_view text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool is_escape = text[i] == '%' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 &&
                           HexDigit(text[i + 2]) >= 0;
    if (is_escape) {
      decoded += static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2]));
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

// As an href within XML: what URLs may hold stays, the rest is escaped in lower case.
std::string EncodeHref(std::string_view path) {
  constexpr std::string_view kKept =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789$-_.+!*'(),:@=/~";
  std::string encoded;
  for (const char c : path) {
    if (c == '&') {
      encoded += "&amp;";
    } else if (kKept.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02x", static_cast<unsigned char>(c));
      encoded += escape;
    }
  }
  return encoded;
}

std::string Element(std::string_view name, std::string_view text) {
  std::string element = "<";
  element.append(name).append(">").append(text).append("</").append(name).append(">");
  return element;
}

Reply Multistatus(const std::string& responses) {
  return Reply::Status(207)
      .Header("Content-Type", "text/xml; charset=\"utf-8\"")
      .Body(
          "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
          "<D:multistatus xmlns:D=\"DAV:\" xmlns:lp0=\"DAV:\">\n" +
          responses + "</D:multistatus>\n");
}

}  // namespace

DavServer::DavServer(HttpServer& server) {
  server.On([this](const Request& request) { return Answer(request); });
  server.OnBody(
      [this](const Request& request, std::string_view piece) { TakePiece(request, piece); });
}

void DavServer::PutFolder(std::string_view path) {
  const std::lock_guard lock(mutex_);
  for (size_t end = 1; end != std::string_view::npos;) {
    end = path.find('/', end + 1);
    const std::string folder(path.substr(0, end));
    if (!nodes_.contains(folder)) PutNode(folder, true, {});
  }
}

void DavServer::PutFile(std::string_view path, std::string content) {
  if (const std::string parent = ParentOf(path); !parent.empty()) PutFolder(parent);
  const std::lock_guard lock(mutex_);
  PutNode(std::string(path), false, std::move(content));
}

void DavServer::Remove(std::string_view path) {
  const std::lock_guard lock(mutex_);
  Erase(std::string(path));
}

DavTree DavServer::Tree() const {
  const std::lock_guard lock(mutex_);
  DavTree tree;
  for (const auto& [path, node] : nodes_) {
    if (path.empty()) continue;
    tree[path] = node.is_folder ? std::nullopt : std::optional(node.content);
  }
  return tree;
}

std::optional<std::string> DavServer::File(std::string_view path) const {
  const std::lock_guard lock(mutex_);
  const auto found = nodes_.find(std::string(path));
  if (found == nodes_.end() || found->second.is_folder) return std::nullopt;
  return found->second.content;
}

std::optional<DavServer::Target> DavServer::TargetOf(std::string_view url_path) {
  if (!IsWithin(url_path, kAccountRoot)) return std::nullopt;
  Target target{.path = Decode(url_path.substr(kAccountRoot.size()))};
  while (target.path.ends_with('/')) {
    target.path.pop_back();
    target.is_folder_form = true;
  }
  return target;
}

void DavServer::TakePiece(const Request& request, std::string_view piece) {
  if (request.verb != "PUT") return;
  const auto target = TargetOf(request.target);
  const std::lock_guard lock(mutex_);
  if (!target || !request.Header("Content-Range").empty()) return;
  std::string& begun = begun_[target->path];
  if (request.body_size == piece.size()) begun.clear();  // the first one
  begun.append(piece);
}

Reply DavServer::Answer(const Request& request) {
  if (request.verb == "OPTIONS") return Reply::Status(200).Header("DAV", "1,2");
  const auto target = TargetOf(request.target);
  if (!target) return Reply::Status(404);
  const std::lock_guard lock(mutex_);
  return AnswerKnown(request, *target);
}

Reply DavServer::AnswerKnown(const Request& request, const Target& target) {
  const std::string& path = target.path;
  if (request.verb == "PUT") return Store(request, path);
  if (request.verb == "MKCOL") return MakeFolder(path);
  const auto found = nodes_.find(path);
  const bool exists = found != nodes_.end() && (found->second.is_folder || !target.is_folder_form);
  if (!exists) return Reply::Status(404);
  if (request.verb == "PROPFIND") return ListProperties(request, target);
  if (request.verb == "GET" || request.verb == "HEAD") return Send(request, path);
  if (request.verb == "MOVE") return Move(request, path);
  if (request.verb == "DELETE") return Delete(path);
  return Reply::Status(405);
}

Reply DavServer::ListProperties(const Request& request, const Target& target) const {
  const bool is_whole = request.body.find("getcontentlength") != std::string::npos;
  std::string responses;
  if (request.Header("Depth") == "1") {
    for (const auto& [path, node] : nodes_) {
      if (path.empty() || ParentOf(path) != target.path) continue;
      responses += ResponseElement(path, node, is_whole, false);
    }
  }
  responses += ResponseElement(target.path, nodes_.at(target.path), is_whole, true);
  return Multistatus(responses);
}

std::string DavServer::ResponseElement(const std::string& path, const Node& node, bool is_whole,
                                       bool is_requested) const {
  std::string href = std::string(kAccountRoot) + path;
  if (node.is_folder) href += '/';
  std::string properties;
  if (is_whole && !node.is_folder) {
    properties += Element("lp0:getcontentlength", std::to_string(node.content.size()));
  }
  if (is_whole) properties += Element("lp0:creationdate", IsoDate(node.created));
  properties += Element("lp0:getlastmodified", HttpDate(node.modified));
  if (is_whole && is_requested && node.is_folder) {
    properties += Element("D:quota", std::to_string(kQuotaMib));
    properties += Element("D:used", std::to_string(UsedMib()));
  }
  return Element("D:response",
                 Element("D:href", EncodeHref(href)) +
                     Element("D:propstat", Element("D:prop", properties) +
                                               Element("D:status", "HTTP/1.1 200 OK"))) +
         "\n";
}

Reply DavServer::Send(const Request& request, const std::string& path) const {
  const Node& node = nodes_.at(path);
  if (node.is_folder) return Reply::Status(404);
  return Reply::Content(request, node.content).Header("Last-Modified", HttpDate(node.modified));
}

Reply DavServer::Store(const Request& request, const std::string& path) {
  if (!IsFolder(ParentOf(path))) return Reply::Status(409);
  if (IsFolder(path)) return Reply::Status(405);
  if (const std::string range = request.Header("Content-Range"); !range.empty()) {
    return StoreRange(request, path, range);
  }
  begun_.erase(path);
  const bool is_new = !nodes_.contains(path);
  PutNode(path, false, request.body);
  return Reply::Status(is_new ? 201 : 204);
}

// Only onto what came of an upload of this file that broke off.
Reply DavServer::StoreRange(const Request& request, const std::string& path,
                            const std::string& range) {
  unsigned long long first = 0;
  unsigned long long last = 0;
  unsigned long long total = 0;
  const int fields = std::sscanf(range.c_str(), "bytes %llu-%llu/%llu", &first, &last, &total);
  const auto begun = begun_.find(path);
  const bool fits = fields == 3 && begun != begun_.end() && first <= begun->second.size() &&
                    last + 1 == total && last + 1 - first == request.body.size();
  if (!fits) return Reply::Status(400);
  const bool is_new = !nodes_.contains(path);
  PutNode(path, false, begun->second.substr(0, first) + request.body);
  begun_.erase(path);
  return Reply::Status(is_new ? 201 : 204);
}

Reply DavServer::MakeFolder(const std::string& path) {
  if (nodes_.contains(path)) return Reply::Status(405);
  if (!IsFolder(ParentOf(path))) return Reply::Status(409);
  PutNode(path, true, {});
  return Reply::Status(201);
}

Reply DavServer::Move(const Request& request, const std::string& path) {
  const std::string destination = request.Header("Destination");
  const size_t host = destination.find("//");
  if (host == std::string::npos) return Reply::Status(400);
  const size_t root = destination.find('/', host + 2);
  if (root == std::string::npos) return Reply::Status(400);
  const auto target = TargetOf(std::string_view(destination).substr(root));
  if (!target || path.empty() || IsWithin(target->path, path)) return Reply::Status(403);
  if (!IsFolder(ParentOf(target->path))) return Reply::Status(409);
  const bool existed = nodes_.contains(target->path);
  if (existed && request.Header("Overwrite") == "F") return Reply::Status(412);
  if (existed) Erase(target->path);
  std::map<std::string, Node> moved;
  for (auto it = nodes_.begin(); it != nodes_.end();) {
    const bool follows = IsWithin(it->first, path);
    if (follows) moved[target->path + it->first.substr(path.size())] = std::move(it->second);
    it = follows ? nodes_.erase(it) : std::next(it);
  }
  nodes_.merge(moved);
  Touch(ParentOf(path));
  Touch(ParentOf(target->path));
  return Reply::Status(existed ? 204 : 201);
}

Reply DavServer::Delete(const std::string& path) {
  if (path.empty()) return Reply::Status(403);
  Erase(path);
  return Reply::Status(204);
}

bool DavServer::IsFolder(const std::string& path) const {
  const auto found = nodes_.find(path);
  return found != nodes_.end() && found->second.is_folder;
}

// Replaces content and time of what is there, and keeps when it was created.
void DavServer::PutNode(const std::string& path, bool is_folder, std::string content) {
  now_ += kTick;
  Node& node = nodes_.try_emplace(path, Node{.content = {}, .created = now_}).first->second;
  node.is_folder = is_folder;
  node.content = std::move(content);
  node.modified = now_;
  Touch(ParentOf(path));
}

void DavServer::Erase(const std::string& path) {
  std::erase_if(nodes_, [&](const auto& entry) { return IsWithin(entry.first, path); });
  Touch(ParentOf(path));
}

void DavServer::Touch(const std::string& path) {
  now_ += kTick;
  if (const auto found = nodes_.find(path); found != nodes_.end()) found->second.modified = now_;
}

int64_t DavServer::UsedMib() const {
  int64_t bytes = 0;
  for (const auto& [path, node] : nodes_) bytes += static_cast<int64_t>(node.content.size());
  return (bytes + kMebibyte - 1) / kMebibyte;
}

}  // namespace zv::testing
