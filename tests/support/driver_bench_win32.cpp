#include "tests/support/driver_bench_win32.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>

#include "tests/kernel_driver/bench_protocol.h"
#include "tests/kernel_driver/driver_service.h"

namespace zv::testing {

namespace {

constexpr std::size_t kLengthOffset = 8;  // of the step's length in a request record
constexpr std::size_t kMostData = std::size_t{64}
                                  << 20;  // bytes of one restore reply that are kept

static_assert(sizeof(BenchResult) == 24 + BENCH_REPLY_SIZE);
static_assert(sizeof(BenchSubmit) == 8 + DriverBench::kRecordSize);
static_assert(BENCH_KEPT_CALLS == DriverBench::kKeptCalls);

std::vector<std::byte> Bytes(const void* from, std::size_t size) {
  const std::byte* begin = static_cast<const std::byte*>(from);
  return {begin, begin + size};
}

// The event of one overlapped call.
class Event {
 public:
  Event() : handle_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
  ~Event() { CloseHandle(handle_); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

class KernelDriverBench final : public DriverBench {
 public:
  KernelDriverBench(std::unique_ptr<DriverService> service, HANDLE device)
      : service_(std::move(service)), device_(device) {}

  ~KernelDriverBench() override {
    if (service_ != nullptr) {
      EndPolling(RequestQueue::kInfo);
      EndPolling(RequestQueue::kTransfer);
      RemoveDrive();
    }
    CloseHandle(device_);
  }

  bool CreateDrive(const std::u16string& local_name) override {
    char16_t name[BENCH_NAME_UNITS] = {};
    const std::u16string full = u"\\DosDevices\\" + local_name;
    if (full.size() >= BENCH_NAME_UNITS) return false;
    std::copy(full.begin(), full.end(), name);
    return Call(BENCH_CREATE_DRIVE, name, sizeof(name), nullptr, 0);
  }

  bool RemoveDrive() override { return Call(BENCH_REMOVE_DRIVE, nullptr, 0, nullptr, 0); }

  std::u16string DriveName() override {
    const BenchState state = State();
    return {std::begin(state.drive), std::find(std::begin(state.drive), std::end(state.drive), 0)};
  }

  SubmitResult Submit(RequestQueue queue, std::span<const std::byte> record,
                      std::span<const std::byte> block,
                      std::chrono::milliseconds patience) override;

  void EndPolling(RequestQueue queue) override { Script(kBenchEndPolling, queue, 0); }
  void FailFetches(RequestQueue queue, std::uint32_t count) override {
    Script(kBenchFailFetches, queue, count);
  }
  void RefuseReplies(std::uint32_t count) override {
    Script(kBenchRefuseReplies, RequestQueue::kInfo, count);
  }
  void RefuseCreateDrive(bool refuse) override {
    Script(kBenchRefuseCreate, RequestQueue::kInfo, refuse);
  }
  void RefuseDeleteDrive(bool refuse) override {
    Script(kBenchRefuseDelete, RequestQueue::kInfo, refuse);
  }
  void HideControlDevice(bool hide) override {
    Script(kBenchHideControl, RequestQueue::kInfo, hide);
  }

  bool WaitForFetch(RequestQueue queue, std::chrono::milliseconds patience) override {
    return WaitUntil(
        patience, [this, queue] { return State().waiting[static_cast<std::size_t>(queue)] > 0; });
  }
  bool WaitForCalls(std::uint32_t code, std::uint32_t count,
                    std::chrono::milliseconds patience) override {
    return WaitUntil(patience, [this, code, count] { return CallCount(code) >= count; });
  }

  std::vector<ControlCall> Calls() override;
  std::uint32_t CallCount(std::uint32_t code) override;

  DeviceUse Use(BenchDevice device) override {
    const BenchUse use = State().use[static_cast<std::size_t>(device)];
    return {use.opens, use.open_now};
  }

 private:
  // The handle is overlapped, so that calls of several threads do not wait for each other. False
  // when the driver fails the call or `patience` (ms) runs out; `returned` is bytes in `out`.
  bool Call(std::uint32_t code, const void* in, std::size_t in_size, void* out,
            std::size_t out_size, DWORD patience = INFINITE, DWORD* returned = nullptr);
  void Script(std::uint32_t kind, RequestQueue queue, std::uint32_t value) {
    const BenchScript script = {kind, static_cast<std::uint32_t>(queue), value};
    Call(BENCH_SCRIPT, &script, sizeof(script), nullptr, 0);
  }
  BenchState State() {
    BenchState state = {};
    Call(BENCH_STATE, nullptr, 0, &state, sizeof(state));
    return state;
  }
  static bool WaitUntil(std::chrono::milliseconds patience, const std::function<bool()>& reached);

  std::unique_ptr<DriverService> service_;  // null when another process started the driver
  HANDLE device_;
};

bool KernelDriverBench::Call(std::uint32_t code, const void* in, std::size_t in_size, void* out,
                             std::size_t out_size, DWORD patience, DWORD* returned) {
  const Event event;
  OVERLAPPED overlapped = {};
  overlapped.hEvent = event.get();
  DWORD done = 0;
  if (returned == nullptr) returned = &done;
  if (DeviceIoControl(device_, code, const_cast<void*>(in), static_cast<DWORD>(in_size), out,
                      static_cast<DWORD>(out_size), nullptr, &overlapped)) {
    return GetOverlappedResult(device_, &overlapped, returned, TRUE) != 0;
  }
  if (GetLastError() != ERROR_IO_PENDING) return false;
  if (WaitForSingleObject(event.get(), patience) != WAIT_OBJECT_0) CancelIoEx(device_, &overlapped);
  return GetOverlappedResult(device_, &overlapped, returned, TRUE) != 0;
}

SubmitResult KernelDriverBench::Submit(RequestQueue queue, std::span<const std::byte> record,
                                       std::span<const std::byte> block,
                                       std::chrono::milliseconds patience) {
  BenchSubmit head = {};
  head.queue = static_cast<std::uint32_t>(queue);
  head.block_size = static_cast<std::uint32_t>(block.size());
  std::memcpy(head.record, record.data(), std::min(record.size(), sizeof(head.record)));
  std::vector<std::byte> in = Bytes(&head, sizeof(head));
  in.insert(in.end(), block.begin(), block.end());

  std::uint32_t length = 0;
  if (queue == RequestQueue::kTransfer) std::memcpy(&length, head.record + kLengthOffset, 4);
  std::vector<std::byte> out(sizeof(BenchResult) + std::min<std::size_t>(length, kMostData));
  DWORD returned = 0;
  SubmitResult result;
  if (!Call(BENCH_SUBMIT, in.data(), in.size(), out.data(), out.size(),
            static_cast<DWORD>(patience.count()), &returned)) {
    return result;
  }
  BenchResult answer = {};
  std::memcpy(&answer, out.data(), sizeof(answer));
  result.outcome = static_cast<Outcome>(answer.outcome);
  result.reply.code = answer.code;
  result.reply.record = Bytes(answer.record, answer.record_size);
  result.reply.data = Bytes(out.data() + sizeof(BenchResult), answer.data_size);
  result.reply.copy_failed = answer.copy_failed != 0;
  return result;
}

std::vector<ControlCall> KernelDriverBench::Calls() {
  std::vector<BenchCall> kept(BENCH_KEPT_CALLS);
  DWORD returned = 0;
  Call(BENCH_CALLS, nullptr, 0, kept.data(), kept.size() * sizeof(BenchCall), INFINITE, &returned);
  std::vector<ControlCall> calls;
  for (std::size_t i = 0; i < returned / sizeof(BenchCall); ++i) {
    ControlCall call;
    call.device = static_cast<BenchDevice>(kept[i].device);
    call.code = kept[i].code;
    call.input = Bytes(kept[i].input, std::min<std::size_t>(kept[i].input_size, kRecordSize));
    call.output_length = kept[i].output_size;
    call.accepted = kept[i].accepted != 0;
    calls.push_back(std::move(call));
  }
  return calls;
}

std::uint32_t KernelDriverBench::CallCount(std::uint32_t code) {
  const BenchState state = State();
  for (const auto& entry : state.calls) {
    if (entry.count > 0 && entry.code == code) return entry.count;
  }
  return 0;
}

bool KernelDriverBench::WaitUntil(std::chrono::milliseconds patience,
                                  const std::function<bool()>& reached) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!reached()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    Sleep(1);
  }
  return true;
}

HANDLE OpenBenchDevice() {
  return CreateFileW(BENCH_DEVICE_NAME, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                     OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
}

}  // namespace

std::unique_ptr<DriverBench> DriverBench::Create() {
  std::string error;
  std::unique_ptr<DriverService> service =
      DriverService::Start(DriverService::DefaultFile(), error);
  if (service == nullptr) {
    std::fprintf(stderr, "the test driver does not start: %s\n", error.c_str());
    return nullptr;
  }
  const HANDLE device = OpenBenchDevice();
  if (device == INVALID_HANDLE_VALUE) {
    std::fprintf(stderr, "the test driver's device does not open, error %lu\n", GetLastError());
    return nullptr;
  }
  return std::make_unique<KernelDriverBench>(std::move(service), device);
}

std::unique_ptr<DriverBench> JoinRunningDriver() {
  const HANDLE device = OpenBenchDevice();
  if (device == INVALID_HANDLE_VALUE) return nullptr;
  return std::make_unique<KernelDriverBench>(nullptr, device);
}

}  // namespace zv::testing
