// Log files: UTF-16LE with a byte-order mark, lines ended by CR LF, opened, appended and closed for
// every line, emptied when they reach 204,800 bytes. Level lines carry a level and the local time.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/error.h"
#include "platform/format.h"
#include "platform/text.h"

namespace zv {

enum class LogLevel : int32_t { kInformation = 0, kWarning = 1, kError = 2 };

inline constexpr int64_t kLogSizeLimit = 204800;  // bytes

// One log file of the process-wide log folder. Nothing throws; a line that cannot be written is
// lost. Any number of objects, threads and processes may write to one file: whole lines interleave.
class CLogEvent {
 public:
  // Fixes the log folder (<app data>\Log\) when it is still unknown. Opens nothing.
  explicit CLogEvent(TextView file_name);
  virtual ~CLogEvent() = default;
  CLogEvent(const CLogEvent&) = delete;
  CLogEvent& operator=(const CLogEvent&) = delete;

  template <typename... Args>
  void WriteLog(LogLevel level, TextView format, const Args&... args) {
    WriteLogLine(static_cast<int32_t>(level), format, {FormatArg(args)...});
  }
  template <typename... Args>
  void WriteTrace(TextView format, const Args&... args) {
    WriteTraceLine(format, {FormatArg(args)...});
  }
  void WriteTraceText(TextView text);

  const Text& path() const { return path_; }
  bool opened() const { return opened_; }

  // Any level number; one that has no name writes the message alone.
  void WriteLogLine(int32_t level, TextView format, std::initializer_list<FormatArg> args);
  void WriteTraceLine(TextView format, std::initializer_list<FormatArg> args);

 private:
  void AppendLine(TextView line) noexcept;

  std::atomic<bool> opened_ = false;  // several threads may share one object
  Text path_;
};

// "MM/DD/YYYY hh:mm:ss" in local time of seconds since 1970; a time that cannot be converted prints
// "00/00/0000 -1:-1:-1".
Text FormatLogTime(int64_t unix_time);

namespace testing {
// Forgets the log folder, so that the next CLogEvent fixes it anew.
void ForgetLogFolder();
}  // namespace testing

}  // namespace zv
