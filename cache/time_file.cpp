#include "cache/time_file.h"

#include "platform/file.h"
#include "platform/format.h"

namespace zv {
namespace {

constexpr size_t kTimeFileBytes = 8;

// A time that no calendar holds compares like any other such time.
Text LocalTimeText(FileTime time) {
  CalendarTime utc;
  CalendarTime local;
  if (!FileTimeToCalendar(time, &utc) || !UtcToLocal(utc, &local)) local = {};
  return Format(u"%02d/%02d/%d  %02d:%02d:%02d", local.month, local.day, local.year, local.hour,
                local.minute, local.second);
}

}  // namespace

bool SetFileTimeEntry(const CacheNames& names, TextView path, FileTime time) {
  char bytes[kTimeFileBytes];
  for (size_t i = 0; i < kTimeFileBytes; ++i) bytes[i] = static_cast<char>(time.value >> (8 * i));
  File file = File::Open(names.GetTimeFileName(path), Access::kWrite, Disposition::kCreateAlways);
  if (file) file.Write(bytes, sizeof bytes);
  return true;
}

bool GetFileTimeEntry(const CacheNames& names, TextView path, FileTime* time) {
  File file = File::Open(names.GetTimeFileName(path), Access::kRead, Disposition::kOpenExisting);
  if (!file) return false;
  unsigned char bytes[kTimeFileBytes];
  if (file.Read(bytes, sizeof bytes) != sizeof bytes) return false;
  uint64_t value = 0;
  for (size_t i = 0; i < kTimeFileBytes; ++i) value |= uint64_t{bytes[i]} << (8 * i);
  *time = {value};
  return true;
}

uint32_t CompareFileTime(FileTime first, FileTime second) {
  return LocalTimeText(first) == LocalTimeText(second) ? 1 : 0;
}

}  // namespace zv
