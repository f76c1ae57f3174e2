// The playing driver on Linux: devices registered in this process, over the same queues that the
// drive uses.
#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "apps/zvdrive/drive/write_block.h"
#include "apps/zvdrive/queues/request_queues.h"
#include "driver/drive_device.h"
#include "driver/protocol.h"
#include "platform/device_driver.h"
#include "tests/support/driver_bench.h"

namespace zv::testing {
namespace {

using std::chrono::milliseconds;

constexpr uint32_t kRefused = EINVAL;

DriveQueue ToDriveQueue(RequestQueue queue) {
  return queue == RequestQueue::kInfo ? DriveQueue::kInfo : DriveQueue::kTransfer;
}

// What arrived from workers.
class CallLog {
 public:
  // Returns the call's number, for SetAccepted.
  size_t Add(BenchDevice device, uint32_t code, const void* in, uint32_t in_size,
             uint32_t out_size) {
    ControlCall call{device, code, {}, out_size, true};
    const auto* bytes = static_cast<const std::byte*>(in);
    if (bytes)
      call.input.assign(bytes, bytes + std::min<size_t>(in_size, DriverBench::kRecordSize));
    const std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
    if (calls_.size() > DriverBench::kKeptCalls) {
      calls_.pop_front();
      ++dropped_;
    }
    ++counts_[code];
    arrived_.notify_all();
    return dropped_ + calls_.size() - 1;
  }

  void SetRefused(size_t number) {
    const std::lock_guard lock(mutex_);
    if (number >= dropped_) calls_[number - dropped_].accepted = false;
  }

  bool WaitFor(uint32_t code, uint32_t count, milliseconds patience) {
    std::unique_lock lock(mutex_);
    return arrived_.wait_for(lock, patience, [&] { return counts_[code] >= count; });
  }

  std::vector<ControlCall> Calls() {
    const std::lock_guard lock(mutex_);
    return {calls_.begin(), calls_.end()};
  }

  uint32_t Count(uint32_t code) {
    const std::lock_guard lock(mutex_);
    return counts_[code];
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<ControlCall> calls_;
  size_t dropped_ = 0;
  std::map<uint32_t, uint32_t> counts_;
};

// A device that logs what arrives and counts its handles.
class BenchDriver : public DeviceDriver {
 public:
  BenchDriver(BenchDevice kind, std::shared_ptr<CallLog> log) : kind_(kind), log_(std::move(log)) {}

  uint32_t OpenDevice(uint64_t file) override {
    if (!Grant(file)) return ENOENT;
    const std::lock_guard lock(use_mutex_);
    ++use_.opens;
    ++use_.open_now;
    return 0;
  }

  void CloseDevice(uint64_t file) override {
    LetGo(file);
    const std::lock_guard lock(use_mutex_);
    --use_.open_now;
  }

  uint32_t ControlDevice(uint64_t file, uint32_t code, const void* in, uint32_t in_size, void* out,
                         uint32_t out_size, uint32_t* returned) override {
    const size_t number = log_->Add(kind_, code, in, in_size, out_size);
    const uint32_t error = Call(file, code, in, in_size, out, out_size, returned);
    if (error && error != ECANCELED) log_->SetRefused(number);
    return error;
  }

  DeviceUse use() {
    const std::lock_guard lock(use_mutex_);
    return use_;
  }

 protected:
  virtual bool Grant(uint64_t file) = 0;
  virtual void LetGo(uint64_t file) = 0;
  virtual uint32_t Call(uint64_t file, uint32_t code, const void* in, uint32_t in_size, void* out,
                        uint32_t out_size, uint32_t* returned) = 0;

 private:
  const BenchDevice kind_;
  const std::shared_ptr<CallLog> log_;
  std::mutex use_mutex_;
  DeviceUse use_;
};

// The local name in the input of a create-drive request; empty when the input is not one.
std::u16string LocalNameIn(const void* in, uint32_t in_size) {
  DosDeviceName field{};
  if (in_size != sizeof field) return {};
  std::memcpy(field.data(), in, sizeof field);
  if (std::ranges::find(field, u'\0') == field.end()) return {};
  constexpr TextView kPrefix = u"\\DosDevices\\";
  const TextView name(field.data());
  return name.starts_with(kPrefix) ? std::u16string(name.substr(kPrefix.size())) : std::u16string();
}

// The whole driver; its devices hold it, so it outlives the bench as long as a handle does.
class BenchCore : public std::enable_shared_from_this<BenchCore> {
 public:
  class Drive;

  bool CreateDrive(const std::u16string& local_name);
  bool RemoveDrive(const Drive* asked = nullptr);
  uint32_t CreateForWorker(const void* in, uint32_t in_size, uint32_t out_size);
  uint32_t DeleteForWorker(const Drive& drive, const void* in, uint32_t in_size);
  bool TakeRefusal();
  void ForgetDrives();
  std::u16string DriveName();
  DeviceUse DriveUse();

  RequestQueues queues;
  std::shared_ptr<CallLog> log = std::make_shared<CallLog>();

  std::mutex mutex;  // guards what follows
  uint32_t refused_replies = 0;
  bool refuse_create = false;
  bool refuse_delete = false;
  bool hide_control = false;

 private:
  std::shared_ptr<Drive> drive_;
  std::shared_ptr<Drive> last_drive_;
};

class BenchCore::Drive : public BenchDriver {
 public:
  Drive(std::shared_ptr<BenchCore> core, std::u16string name)
      : BenchDriver(BenchDevice::kDrive, core->log),
        name_(std::move(name)),
        core_(std::move(core)) {}

  const std::u16string& name() const { return name_; }

 private:
  bool Grant(uint64_t file) override {
    core_->queues.OpenHandle(file);
    return true;
  }
  void LetGo(uint64_t file) override { core_->queues.CloseHandle(file); }
  uint32_t Call(uint64_t file, uint32_t code, const void* in, uint32_t in_size, void* out,
                uint32_t out_size, uint32_t* returned) override {
    if (code == IOCTL_DELETE_DRIVE) return core_->DeleteForWorker(*this, in, in_size);
    const bool fetch = code == IOCTL_GET_INFO_REQUEST || code == IOCTL_GET_TRANSFER_REQUEST;
    if (!fetch && core_->TakeRefusal()) return EACCES;
    return core_->queues.Control(file, code, in, in_size, out, out_size, returned);
  }

  const std::u16string name_;
  const std::shared_ptr<BenchCore> core_;
};

class ControlDriver : public BenchDriver {
 public:
  explicit ControlDriver(std::shared_ptr<BenchCore> core)
      : BenchDriver(BenchDevice::kControl, core->log), core_(std::move(core)) {}

 private:
  bool Grant(uint64_t) override {
    const std::lock_guard lock(core_->mutex);
    return !core_->hide_control;
  }
  void LetGo(uint64_t) override {}
  uint32_t Call(uint64_t, uint32_t code, const void* in, uint32_t in_size, void*, uint32_t out_size,
                uint32_t*) override {
    if (code != IOCTL_CREATE_DRIVE) return kRefused;
    return core_->CreateForWorker(in, in_size, out_size);
  }

  const std::shared_ptr<BenchCore> core_;
};

bool BenchCore::CreateDrive(const std::u16string& local_name) {
  const std::lock_guard lock(mutex);
  if (drive_) return false;
  drive_ = last_drive_ = std::make_shared<Drive>(shared_from_this(), local_name);
  queues.StartDrive();
  RegisterDeviceDriver(local_name, drive_);
  return true;
}

bool BenchCore::RemoveDrive(const Drive* asked) {
  const std::lock_guard lock(mutex);
  if (!drive_ || (asked && asked != drive_.get())) return false;
  UnregisterDeviceDriver(drive_->name());
  drive_.reset();
  queues.RemoveDrive();
  return true;
}

uint32_t BenchCore::CreateForWorker(const void* in, uint32_t in_size, uint32_t out_size) {
  const std::u16string name = LocalNameIn(in, in_size);
  if (name.empty() || out_size != kCreateDriveOutputBytes) return kRefused;
  {
    const std::lock_guard lock(mutex);
    if (refuse_create) return EACCES;
  }
  return CreateDrive(name) ? 0 : EEXIST;
}

uint32_t BenchCore::DeleteForWorker(const Drive& drive, const void* in, uint32_t in_size) {
  if (LocalNameIn(in, in_size) != drive.name()) return kRefused;
  {
    const std::lock_guard lock(mutex);
    if (refuse_delete) return EACCES;
  }
  return RemoveDrive(&drive) ? 0 : ENODEV;
}

bool BenchCore::TakeRefusal() {
  const std::lock_guard lock(mutex);
  if (refused_replies == 0) return false;
  --refused_replies;
  return true;
}

// A drive holds its core, so the core lets go of it at the end.
void BenchCore::ForgetDrives() {
  const std::lock_guard lock(mutex);
  last_drive_.reset();
}

std::u16string BenchCore::DriveName() {
  const std::lock_guard lock(mutex);
  return drive_ ? drive_->name() : std::u16string();
}

DeviceUse BenchCore::DriveUse() {
  const std::lock_guard lock(mutex);
  return last_drive_ ? last_drive_->use() : DeviceUse{};
}

Outcome ToOutcome(RequestEnd end) {
  switch (end) {
    case RequestEnd::kReplied:
      return Outcome::kReplied;
    case RequestEnd::kNoReply:
      return Outcome::kNoReply;
    case RequestEnd::kWorkerGone:
      return Outcome::kWorkerGone;
    case RequestEnd::kTimedOut:
    case RequestEnd::kWithdrawn:
      break;
  }
  return Outcome::kTimedOut;
}

// Large blocks are worked on where they lie, as the drive's are.
HandedBlock Hand(std::span<const std::byte> block) {
  if (block.size() < kLeastGathered) return {.bytes = block, .keeper = {}};
  const auto kept = std::make_shared<const std::vector<std::byte>>(block.begin(), block.end());
  return {.bytes = *kept, .keeper = kept};
}

class PosixBench : public DriverBench {
 public:
  PosixBench() { RegisterDeviceDriver(u"ZVfs", control_); }

  ~PosixBench() override {
    UnregisterDeviceDriver(u"ZVfs");
    core_->RemoveDrive();
    core_->queues.Shutdown();
    core_->ForgetDrives();
  }

  bool CreateDrive(const std::u16string& local_name) override {
    return core_->CreateDrive(local_name);
  }
  bool RemoveDrive() override { return core_->RemoveDrive(); }
  std::u16string DriveName() override { return core_->DriveName(); }

  SubmitResult Submit(RequestQueue queue, std::span<const std::byte> record,
                      std::span<const std::byte> block, milliseconds patience) override {
    RequestQueues::Question question;
    question.queue = ToDriveQueue(queue);
    std::memcpy(static_cast<void*>(&question.record), record.data(), sizeof question.record);
    question.block = Hand(block);
    question.patience = patience;
    SubmitResult result;
    question.take_data = [&](std::span<const std::byte> data) {
      result.reply.data.assign(data.begin(), data.end());
    };
    ChannelReply reply;
    result.outcome = ToOutcome(core_->queues.Ask(std::move(question), &reply));
    if (result.outcome != Outcome::kReplied) return result;
    result.reply.code = reply.code;
    result.reply.record.assign(reply.record.begin(), reply.record.begin() + reply.record_size);
    return result;
  }

  void EndPolling(RequestQueue queue) override { core_->queues.EndPolling(ToDriveQueue(queue)); }
  void FailFetches(RequestQueue queue, uint32_t count) override {
    core_->queues.CancelFetches(ToDriveQueue(queue), count);
  }
  void RefuseReplies(uint32_t count) override {
    const std::lock_guard lock(core_->mutex);
    core_->refused_replies = count;
  }
  void RefuseCreateDrive(bool refuse) override {
    const std::lock_guard lock(core_->mutex);
    core_->refuse_create = refuse;
  }
  void RefuseDeleteDrive(bool refuse) override {
    const std::lock_guard lock(core_->mutex);
    core_->refuse_delete = refuse;
  }
  void HideControlDevice(bool hide) override {
    const std::lock_guard lock(core_->mutex);
    core_->hide_control = hide;
  }

  bool WaitForFetch(RequestQueue queue, milliseconds patience) override {
    return core_->queues.WaitForFetch(ToDriveQueue(queue), patience);
  }
  bool WaitForCalls(uint32_t code, uint32_t count, milliseconds patience) override {
    return core_->log->WaitFor(code, count, patience);
  }

  std::vector<ControlCall> Calls() override { return core_->log->Calls(); }
  uint32_t CallCount(uint32_t code) override { return core_->log->Count(code); }
  DeviceUse Use(BenchDevice device) override {
    return device == BenchDevice::kControl ? control_->use() : core_->DriveUse();
  }

 private:
  const std::shared_ptr<BenchCore> core_ = std::make_shared<BenchCore>();
  const std::shared_ptr<ControlDriver> control_ = std::make_shared<ControlDriver>(core_);
};

}  // namespace

std::unique_ptr<DriverBench> DriverBench::Create() { return std::make_unique<PosixBench>(); }

}  // namespace zv::testing
