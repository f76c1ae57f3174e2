// A playing `ZVfs` driver for tests: it owns the control device "\\.\ZVfs" and one drive device,
// hands request records to whoever polls that drive, and keeps what the worker sent back.
//
// Two implementations, chosen by the build: on Windows a real kernel driver (installed, started and
// stopped through the service control manager, so the worker may live in this process or in any
// other one), on Linux devices registered in this process. Both follow the same rules:
//
//  - A request waits in its queue until a fetch takes it. From then on it is in flight on the
//    handle that fetched it, until a reply of its queue arrives on that handle (the request is
//    answered), the handle fetches again (no reply will come) or the handle is closed (the worker
//    is gone).
//  - A reply with no request in flight on its handle, a reply of the other queue, a wrong buffer
//    size and a restore length above the requested one are refused. A refused call changes nothing
//    but the call log.
//  - A reply is not compared with the kind of the request: the test sees which control code came.
//  - Queues and scripted failures belong to the driver, not to one drive or handle.

#ifndef TESTS_SUPPORT_DRIVER_BENCH_H_
#define TESTS_SUPPORT_DRIVER_BENCH_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace zv::testing {

enum class RequestQueue : std::uint32_t { kInfo = 0, kTransfer = 1 };

enum class BenchDevice : std::uint32_t { kControl = 0, kDrive = 1 };

// How a submitted request ended.
enum class Outcome : std::uint32_t {
  kReplied = 0,     // `reply` holds what the worker sent
  kNoReply = 1,     // the worker fetched again without a reply
  kWorkerGone = 2,  // the handle that had fetched the request was closed
  kTimedOut = 3,    // nothing within the time allowed; a late reply is taken and dropped
};

// One accepted reply call.
struct RawReply {
  std::uint32_t code = 0;         // control code
  std::vector<std::byte> record;  // the call's input, whole
  std::vector<std::byte> data;    // restore reply: the bytes copied out of the worker's buffer
  bool copy_failed = false;  // the worker's buffer could not be read (restore) or written (backup)
};

struct SubmitResult {
  Outcome outcome = Outcome::kTimedOut;
  RawReply reply;  // meaningful with kReplied only
};

// One device control call that arrived from a worker, fetches included.
struct ControlCall {
  BenchDevice device = BenchDevice::kControl;
  std::uint32_t code = 0;
  std::vector<std::byte> input;     // the input buffer, whole (at most 1112 bytes are kept)
  std::uint32_t output_length = 0;  // size of the output buffer in bytes
  bool accepted = false;  // false: refused; a fetch counts as accepted once it waits or is served
};

// How often a device was opened, and how many handles are open on it now.
struct DeviceUse {
  std::uint32_t opens = 0;
  std::uint32_t open_now = 0;
};

// Any thread may call any member at any time; requests of one queue are served in the order of
// submission.
class DriverBench {
 public:
  static constexpr std::chrono::milliseconds kPatience{20000};  // far above what any answer needs
  static constexpr std::size_t kRecordSize = 1112;
  static constexpr std::size_t kKeptCalls = 1024;

  // Starts a fresh driver: the control device opens, no drive exists, nothing is scripted. Null
  // when it cannot start (the reason goes to stderr). One bench at a time on one machine (Windows)
  // or in one process (Linux).
  static std::unique_ptr<DriverBench> Create();

  // Ends polling on both queues, removes the drive and stops the driver.
  virtual ~DriverBench() = default;

  // Creates the drive device as a create-drive request for `local_name` ("Y:") would, without a
  // worker asking for it. False when a drive exists already. Ends of polling are forgotten.
  virtual bool CreateDrive(const std::u16string& local_name) = 0;
  // Removes the drive as a delete-drive request would: fetches that wait, and every later one on
  // handles that are still open, get the end code; the device no longer opens. False when there is
  // no drive.
  virtual bool RemoveDrive() = 0;
  // The drive's local name ("Y:"), whoever created it; empty when there is none.
  virtual std::u16string DriveName() = 0;

  // Queues a request record (`record` has exactly kRecordSize bytes, any content) and waits for its
  // end. `block` is what the driver copies into the worker's buffer when a backup reply with status
  // 0 and an address comes: as much of it as the reply's length allows, and that count is the
  // length handed back (an empty block hands back 0).
  virtual SubmitResult Submit(RequestQueue queue, std::span<const std::byte> record,
                              std::span<const std::byte> block = {},
                              std::chrono::milliseconds patience = kPatience) = 0;

  // From now on a fetch that finds no request in the queue, one that waits included, gets major
  // code 0xFFFFFFFF in a record that is otherwise zero. A new drive forgets it.
  virtual void EndPolling(RequestQueue queue) = 0;

  // The next `count` fetches on the queue fail at once; a waiting one fails now and counts.
  virtual void FailFetches(RequestQueue queue, std::uint32_t count) = 0;
  // The next `count` reply calls are refused; the requests stay in flight.
  virtual void RefuseReplies(std::uint32_t count) = 0;
  // While true, create-drive (delete-drive) requests fail and change nothing.
  virtual void RefuseCreateDrive(bool refuse) = 0;
  virtual void RefuseDeleteDrive(bool refuse) = 0;
  // While true, the control device cannot be opened; handles already open go on working.
  virtual void HideControlDevice(bool hide) = 0;

  // Waits until a fetch is waiting on the queue: the worker is idle there. False when `patience`
  // runs out.
  virtual bool WaitForFetch(RequestQueue queue, std::chrono::milliseconds patience = kPatience) = 0;
  // Waits until `count` calls in all with that control code have arrived, refused ones included.
  virtual bool WaitForCalls(std::uint32_t code, std::uint32_t count,
                            std::chrono::milliseconds patience = kPatience) = 0;

  // The last kKeptCalls calls, oldest first, and how many calls of one code have arrived in all.
  virtual std::vector<ControlCall> Calls() = 0;
  virtual std::uint32_t CallCount(std::uint32_t code) = 0;
  // Opens count successful ones only. On the drive: those of the drive that exists now or, when
  // there is none, of the one that existed last.
  virtual DeviceUse Use(BenchDevice device) = 0;
};

}  // namespace zv::testing

#endif  // TESTS_SUPPORT_DRIVER_BENCH_H_
