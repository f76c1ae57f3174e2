#include "config/log.h"

#include <mutex>

#include "config/folders.h"
#include "platform/clock.h"
#include "platform/file.h"

namespace zv {
namespace {

constexpr std::string_view kByteOrderMark = "\xFF\xFE";

std::mutex log_folder_mutex;
Text log_folder;  // process-wide; ends with a backslash once it is known

Text LogFolder() {
  const std::lock_guard lock(log_folder_mutex);
  if (log_folder.empty()) {
    const Text data = GetAppDataFolder();
    if (!data.empty()) log_folder = data + u"\\Log\\";
  }
  return log_folder;
}

TextView LevelName(int32_t level) {
  switch (level) {
    case 0:
      return u"Information";
    case 1:
      return u"Warning";
    case 2:
      return u"Error";
    default:
      return {};
  }
}

// The log folder is made when the first line finds it missing.
File OpenForAppending(const Text& path) {
  File file = File::Open(path, Access::kReadWrite, Disposition::kOpenAlways);
  if (file) return file;
  const size_t folder_end = path.rfind(u'\\');
  if (folder_end == Text::npos || !MakeFolders(path.substr(0, folder_end))) return file;
  return File::Open(path, Access::kReadWrite, Disposition::kOpenAlways);
}

// The mark is written whenever the file is opened; where it stands already, that changes nothing,
// and looking costs less.
void WriteMark(File& file) {
  char mark[kByteOrderMark.size()] = {};
  if (file.Read(mark, sizeof mark) == sizeof mark &&
      std::string_view(mark, sizeof mark) == kByteOrderMark)
    return;
  file.Seek(0);
  file.Write(kByteOrderMark);
}

// One thread at a time cuts, and looks again first: none cuts off the line that another one wrote
// into the file just emptied.
void CutWhenFull(File& file) {
  if (file.SeekToEnd() < kLogSizeLimit) return;
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  if (file.Size() >= kLogSizeLimit) file.SetSize(static_cast<int64_t>(kByteOrderMark.size()));
}

}  // namespace

CLogEvent::CLogEvent(TextView file_name) : path_(LogFolder().append(file_name)) {}

void CLogEvent::WriteLogLine(int32_t level, TextView format,
                             std::initializer_list<FormatArg> args) {
  try {
    Text line;
    const TextView name = LevelName(level);
    if (!name.empty()) line = Format(u"%-11ls : %s : ", name, FormatLogTime(UnixTime()));
    AppendLine(line.append(FormatText(format, {args.begin(), args.size()})).append(u"\r\n"));
  } catch (...) {
    // No memory for the line: it is lost, as one that cannot be written is.
  }
}

void CLogEvent::WriteTraceLine(TextView format, std::initializer_list<FormatArg> args) {
  try {
    AppendLine(FormatText(format, {args.begin(), args.size()}) + u"\r\n");
  } catch (...) {
    // As above.
  }
}

void CLogEvent::WriteTraceText(TextView text) {
  try {
    AppendLine(Text(text) + u"\r\n");
  } catch (...) {
    // As above.
  }
}

void CLogEvent::AppendLine(TextView line) noexcept {
  // The caller may ask for the last error after its line was written.
  const uint32_t last_error = LastError();
  try {
    File file = OpenForAppending(path_);
    opened_ = file.is_open();
    if (opened_) {
      WriteMark(file);
      CutWhenFull(file);
      file.Append(ToUtf16LeBytes(line));
    }
  } catch (...) {
    // The line is lost; what could be told about it could not be written either.
  }
  SetLastError(last_error);
}

Text FormatLogTime(int64_t unix_time) {
  CalendarTime utc;
  CalendarTime local;
  const bool in_range = unix_time > -kUnixEpochSeconds1601 && unix_time < 900'000'000'000;
  if (!in_range || !FileTimeToCalendar(ToFileTime(FromUnix(unix_time)), &utc) ||
      !UtcToLocal(utc, &local)) {
    local = {.hour = -1, .minute = -1, .second = -1};
  }
  return Format(u"%02d/%02d/%04d %02d:%02d:%02d", local.month, local.day, local.year, local.hour,
                local.minute, local.second);
}

namespace testing {

void ForgetLogFolder() {
  const std::lock_guard lock(log_folder_mutex);
  log_folder.clear();
}

}  // namespace testing

}  // namespace zv
