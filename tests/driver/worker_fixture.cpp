#include "tests/driver/worker_fixture.h"

#include "cache/cache_names.h"
#include "driver/event_polling.h"
#include "platform/file.h"

namespace zv::testing {
namespace {

CacheNames NamesIn(const TestHome& home) { return CacheNames(home.CacheFolder(kUser)); }

}  // namespace

RequestRecord MakeRequest(MajorCode major, TextView path, uint32_t length_or_index) {
  RequestRecord record;
  record.major = static_cast<uint32_t>(major);
  record.length_or_index = length_or_index;
  record.SetPath(path);
  return record;
}

RequestRecord MakeBackup(MinorCode minor, TextView path, uint32_t length) {
  RequestRecord record = MakeRequest(MajorCode::kBackup, path, length);
  record.minor = static_cast<uint32_t>(minor);
  return record;
}

std::vector<std::byte> BytesOf(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

std::string TextOf(const std::vector<std::byte>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

namespace {

constexpr char kLastModified[] = "Sun, 15 Nov 2026 14:03:09 GMT";

std::string ResponseElement(std::string_view href, std::string_view properties) {
  std::string text = "<D:response><D:href>/users/user/Files";
  text.append(href).append("</D:href><D:propstat><D:prop><lp0:creationdate>2026-11-15T14:03:08Z");
  text.append("</lp0:creationdate><lp0:getlastmodified>").append(kLastModified);
  text.append("</lp0:getlastmodified>").append(properties);
  return text + "</D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>";
}

Reply Multistatus(const std::string& responses) {
  return Reply::Status(207)
      .Header("Content-Type", "text/xml; charset=\"utf-8\"")
      .Body(
          "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
          "<D:multistatus xmlns:D=\"DAV:\" xmlns:lp0=\"DAV:\">" +
          responses + "</D:multistatus>");
}

// The target of a MOVE: its Destination without scheme and host.
std::string DestinationTarget(const Request& request) {
  const std::string url = request.Header("Destination");
  return url.substr(url.find('/', url.find("//") + 2));
}

}  // namespace

Reply FolderReply(std::string_view folder, std::initializer_list<std::string_view> members) {
  std::string responses;
  for (const std::string_view member : members) {
    responses += ResponseElement(member, "<lp0:getcontentlength>5</lp0:getcontentlength>");
  }
  return Multistatus(responses +
                     ResponseElement(folder, "<D:quota>100</D:quota><D:used>3</D:used>"));
}

std::optional<std::string> MemoryAccount::Content(const std::string& target) {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(target);
  if (found == files_.end()) return std::nullopt;
  return found->second;
}

void MemoryAccount::Store(const std::string& target, std::string content) {
  const std::lock_guard lock(mutex_);
  files_[target] = std::move(content);
}

Reply MemoryAccount::operator()(const Request& request) {
  const std::lock_guard lock(mutex_);
  if (request.verb == "OPTIONS") return Reply::Status(200);
  if (request.verb == "MKCOL") return Reply::Status(201);
  if (request.verb == "PROPFIND") return Multistatus(ResponseElement("/", ""));
  if (request.verb == "PUT") {
    files_[request.target] = request.body;
    return Reply::Status(201);
  }
  const auto found = files_.find(request.target);
  if (found == files_.end()) return Reply::Status(404);
  if (request.verb == "DELETE") {
    files_.erase(found);
    return Reply::Status(204);
  }
  if (request.verb == "MOVE") {
    const std::string destination = DestinationTarget(request);
    if (files_.contains(destination)) return Reply::Status(412);
    files_[destination] = std::move(found->second);
    files_.erase(found);
    return Reply::Status(201);
  }
  return Reply::Content(request, found->second).Header("Last-Modified", kLastModified);
}

WorkerTest::WorkerTest() : bench_(DriverBench::Create()) {
  if (!bench_) throw std::runtime_error("the playing driver does not start");
}

WorkerTest::~WorkerTest() { StopWorker(); }

void WorkerTest::StartWorker(AccountOptions options) {
  home_.SetAccount(server_.host(), kUser, u"secret", options);
  home_.SetSetting(kConnectionSubKey, u"Local Name", u"Y:");
  MakeFolders(home_.CacheFolder(kUser));
  ASSERT_TRUE(bench_->CreateDrive(u"Y:"));
  StartPollingThreads();
}

void WorkerTest::ServeMemoryAccount() {
  server_.On([this](const Request& request) { return account_(request); });
}

void WorkerTest::StartPollingThreads() {
  polling_ = Thread::Start([this] {
    const uint32_t result = RunPolling();
    polling_returned_ = true;
    return result;
  });
  is_polling_ = true;
}

void WorkerTest::StopWorker() {
  if (!is_polling_) return;
  server_.Release();
  bench_->EndPolling(RequestQueue::kInfo);
  bench_->EndPolling(RequestQueue::kTransfer);
  EXPECT_EQ(polling_.Join(), 0u);
  is_polling_ = false;
}

SubmitResult WorkerTest::Ask(RequestQueue queue, const RequestRecord& record,
                             std::string_view block) {
  return bench_->Submit(queue, std::as_bytes(std::span(&record, 1)),
                        std::as_bytes(std::span(block)));
}

DirectoryEntry WorkerTest::AskDirectory(TextView path, uint32_t index) {
  const SubmitResult result = AskInfo(MakeRequest(MajorCode::kDirectory, path, index));
  EXPECT_EQ(result.reply.code, IOCTL_DIRECTORY_REPLY);
  return ReplyAs<DirectoryEntry>(result);
}

DirectoryEntry WorkerTest::AskQuery(TextView path, TextView name) {
  RequestRecord record = MakeRequest(MajorCode::kQueryInfo, path);
  record.SetSecondPath(name);
  const SubmitResult result = AskInfo(record);
  EXPECT_EQ(result.reply.code, IOCTL_QUERY_INFO_REPLY);
  return ReplyAs<DirectoryEntry>(result);
}

StatusWord WorkerTest::AskRename(TextView source, TextView target, uint32_t minor) {
  RequestRecord record = MakeRequest(MajorCode::kRename, source);
  record.minor = minor;
  record.SetSecondPath(target);
  const SubmitResult result = AskInfo(record);
  EXPECT_EQ(result.reply.code, IOCTL_NAMESPACE_REPLY);
  return ReplyAs<StatusWord>(result);
}

TransferReply WorkerTest::AskBlock(TextView path, std::string_view block, int64_t offset,
                                   bool force_store) {
  RequestRecord record =
      MakeBackup(MinorCode::kCacheBackup, path, static_cast<uint32_t>(block.size()));
  record.offset = offset;
  record.force_store = force_store;
  const SubmitResult result = AskTransfer(record, block);
  EXPECT_EQ(result.reply.code, IOCTL_BACKUP_REPLY);
  return ReplyAs<TransferReply>(result);
}

void WorkerTest::WriteListing(TextView folder, std::initializer_list<TextView> lines) const {
  Text text;
  for (const TextView line : lines) text.append(line).append(u"\r\n");
  WriteFileBytes(NamesIn(home_).GetDirRecordName(folder), ToUtf16LeBytes(text));
}

std::optional<std::string> WorkerTest::ReadContent(TextView path) const {
  return ReadFileBytes(NamesIn(home_).GetFileRecordName(path));
}

void WorkerTest::WriteContent(TextView path, std::string_view content) const {
  WriteFileBytes(NamesIn(home_).GetFileRecordName(path), content);
}

size_t WorkerTest::CountPollLines(TextView line) const {
  const Text all = home_.LogText(kPollLog);
  const Text whole = Text(line) + u"\r\n";
  size_t count = 0;
  for (size_t at = 0; at < all.size();) {
    const size_t end = std::min(all.find(u"\r\n", at), all.size() - 2) + 2;
    if (TextView(all).substr(at, end - at) == whole) ++count;
    at = end;
  }
  return count;
}

}  // namespace zv::testing
