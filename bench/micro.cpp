// What single steps of a request cost: a log line, a setting, a reply's parsing, a listing's, the
// hand-over between who asks and the worker.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

#include "apps/zvdrive/queues/request_queues.h"
#include "cache/entry_record.h"
#include "cache/record_list.h"
#include "config/log.h"
#include "config/settings.h"
#include "platform/home.h"
#include "platform/xml.h"
#include "webdav/multistatus.h"

namespace zv {
namespace {

constexpr int kEntries = 10'000;

void LogLine(benchmark::State& state) {
  CLogEvent log(u"BenchDebug.txt");
  uint32_t index = 0;
  for (auto _ : state) log.WriteTrace(u"Dir req of %d with resource = %s", ++index, u"\\Docs\\");
  if (!log.opened()) state.SkipWithError("the log cannot be written");
}
BENCHMARK(LogLine);

void SettingRead(benchmark::State& state) {
  WriteRegistryString(kConnectionParameters, u"Account_Type", u"ORDINARY");
  for (auto _ : state) {
    if (ReadAccountType() != u"ORDINARY") state.SkipWithError("not what was written");
  }
}
BENCHMARK(SettingRead);

void SettingReadAfterAWrite(benchmark::State& state) {
  for (auto _ : state) {
    WriteRegistryString(kConnectionParameters, u"Account_Type", u"ORDINARY");
    benchmark::DoNotOptimize(ReadAccountType());
  }
}
BENCHMARK(SettingReadAfterAWrite);

Text Response(TextView leaf) {
  return Text(u"<D:response xmlns:lp0=\"DAV:\">\n<D:href>/users/anna/Files/ten/")
      .append(leaf)
      .append(
          u"</D:href>\n<D:propstat>\n<D:prop>\n<lp0:getcontentlength>4096</lp0:getcontentlength>\n"
          u"<lp0:creationdate>2026-11-21T07:50:32Z</lp0:creationdate>\n"
          u"<lp0:getlastmodified>Sat, 21 Nov 2026 07:50:32 GMT</lp0:getlastmodified>\n"
          u"</D:prop>\n<D:status>HTTP/1.1 200 OK</D:status>\n</D:propstat>\n</D:response>\n");
}

Text Reply() {
  Text xml = u"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:multistatus xmlns:D=\"DAV:\">\n";
  for (int i = 0; i < kEntries; ++i) xml += Response(Format(u"file%%20%05d.txt", i));
  return xml + Response(u"") + u"</D:multistatus>\n";
}

Text FirstText(const XmlNode& node, TextView path) {
  const auto found = node.SelectSingle(path);
  return found ? found->NodeText() : Text();
}

void ReplyLoad(benchmark::State& state) {
  const Text xml = Reply();
  XmlDocument document;
  for (auto _ : state) {
    if (!document.Load(xml)) state.SkipWithError("not loaded");
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(ReplyLoad)->Unit(benchmark::kMillisecond);

void ReplyRead(benchmark::State& state) {
  XmlDocument document;
  document.Load(Reply());
  for (auto _ : state) {
    const auto listing = ReadMultistatus(document, u"/users/anna/Files", FirstText);
    if (!listing || listing->entries.size() < kEntries + 2) state.SkipWithError("not read");
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(ReplyRead)->Unit(benchmark::kMillisecond);

Text Listing() {
  Text text;
  DirectoryEntry entry;
  entry.size = 4096;
  entry.creation_time = 13'339'721'432;
  entry.SetModified(13'339'721'432);
  for (int i = 0; i < kEntries; ++i) {
    entry.SetName(Format(u"file %05d.txt", i));
    text += FormatRecord(entry);
  }
  return text;
}

void ListingFormat(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Listing());
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(ListingFormat)->Unit(benchmark::kMillisecond);

void ListingParse(benchmark::State& state) {
  const Text text = Listing();
  for (auto _ : state) {
    const RecordList list(text);
    if (list.size() != kEntries) state.SkipWithError("records are missing");
    for (size_t i = 0; i < list.size(); ++i) benchmark::DoNotOptimize(list.At(i));
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(ListingParse)->Unit(benchmark::kMillisecond);

// A worker that answers at once.
class Worker {
 public:
  explicit Worker(RequestQueues& queues) : queues_(queues) {
    queues_.OpenHandle(1);
    thread_ = std::thread([this] { Serve(); });
  }
  ~Worker() {
    queues_.Shutdown();
    thread_.join();
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

 private:
  void Serve() {
    RequestRecord record;
    DirectoryEntry entry;
    uint32_t returned = 0;
    for (;;) {
      queues_.Control(1, IOCTL_GET_INFO_REQUEST, &record, sizeof record, &record, sizeof record,
                      &returned);
      if (record.major == static_cast<uint32_t>(MajorCode::kEndPolling)) return;
      queues_.Control(1, IOCTL_DIRECTORY_REPLY, &entry, sizeof entry, nullptr, 0, &returned);
    }
  }

  RequestQueues& queues_;
  std::thread thread_;
};

RequestRecord WalkRequest() {
  RequestRecord record;
  record.major = static_cast<uint32_t>(MajorCode::kDirectory);
  record.length_or_index = 1;
  return record;
}

void HandOver(benchmark::State& state) {
  RequestQueues queues;
  const Worker worker(queues);
  for (auto _ : state) {
    if (!queues.Submit(DriveQueue::kInfo, WalkRequest(), {}, {}, {})) {
      state.SkipWithError("no reply");
    }
  }
}
BENCHMARK(HandOver)->UseRealTime();

void HandOverInARow(benchmark::State& state) {
  RequestQueues queues;
  const Worker worker(queues);
  for (auto _ : state) {
    const auto next = [](const ChannelReply&, RequestRecord& record) {
      return ++record.length_or_index <= kEntries;
    };
    const auto row =
        queues.BeginRow(DriveQueue::kInfo, WalkRequest(), {}, next, RowOrder::kAmongOthers);
    if (!row->Wait()) state.SkipWithError("no reply");
  }
  state.SetItemsProcessed(state.iterations() * kEntries);
}
BENCHMARK(HandOverInARow)->UseRealTime()->Unit(benchmark::kMillisecond);

// Settings and logs below a folder of its own.
class Home {
 public:
  Home() {
    const std::string pattern = "zv-bench." + std::string(6, 'X');
    std::string folder = (std::filesystem::temp_directory_path() / pattern).string();
    if (!::mkdtemp(folder.data())) std::abort();
    folder_ = folder;
    testing::SetHomeFolder(folder);
  }
  ~Home() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Home(const Home&) = delete;
  Home& operator=(const Home&) = delete;

 private:
  std::filesystem::path folder_;
};

}  // namespace
}  // namespace zv

int main(int argc, char** argv) {
  const zv::Home home;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
