#include "cache/listing_file.h"

#include "cache/entry_record.h"
#include "cache/work_file.h"
#include "config/guard.h"
#include "platform/error.h"

namespace zv {
namespace {

constexpr size_t kPage = 4096;  // bytes

// Writes at the end of a listing, whole or not at all.
template <typename Write>
void WriteWhole(File& file, int64_t end, Write write) {
  try {
    write();
    file.CloseWritten();
  } catch (...) {
    if (file) file.SetSize(end);
    throw;
  }
}

std::recursive_mutex& ListingMutex() {
  static std::recursive_mutex mutex;
  return mutex;
}

}  // namespace

ListingLock::ListingLock() : lock_(ListingMutex()) {}

StaleUnlessStored::StaleUnlessStored(TextView listing_file)
    : time_file_(Text(listing_file) + Text(kTimeFileSuffix)) {}

StaleUnlessStored::~StaleUnlessStored() {
  if (stored_) return;
  const uint32_t code = LastError();  // of the change: it is still to be told
  GuardedQuietly([this] { RemoveFile(time_file_); });
  SetLastError(code);
}

std::optional<Text> ReadListing(TextView listing_file, Disposition disposition) {
  const ListingLock lock;
  const Access access =
      disposition == Disposition::kOpenExisting ? Access::kRead : Access::kReadWrite;
  File file = File::Open(listing_file, access, disposition);
  if (!file) return std::nullopt;
  return FromUtf16LeBytes(file.ReadAll());
}

bool ReplaceListing(const CacheNames& names, TextView listing_file, TextView text) {
  const ListingLock lock;
  const std::string bytes = ToUtf16LeBytes(text);
  if (ReplaceFileWhole(names, listing_file, bytes)) return true;
  // In place only where the system keeps a file that others have open from being replaced. What is
  // left of it when this process is killed must not be taken for current.
  File file = File::Open(listing_file, Access::kReadWrite, Disposition::kOpenAlways);
  if (!file) return false;
  RemoveFile(Text(listing_file) + Text(kTimeFileSuffix));
  file.SetSize(0);
  file.Write(bytes);
  file.CloseWritten();
  return true;
}

bool ExtendListing(const CacheNames& names, TextView listing_file, File file, TextView text,
                   TextView records) {
  const ListingLock lock;
  const size_t end = text.size() * sizeof(char16_t);
  // Within a page of its memory the system writes all or nothing, even when this process is killed.
  const bool in_one_page = end % kPage + records.size() * sizeof(char16_t) <= kPage;
  if (in_one_page && !text.empty() && file.Size() == static_cast<int64_t>(end)) {
    WriteWhole(file, static_cast<int64_t>(end), [&] { file.Append(ToUtf16LeBytes(records)); });
    return true;
  }
  file.Close();  // not every system replaces a file that is open
  return ReplaceListing(names, listing_file, Text(text).append(records));
}

bool WriteRootLines(TextView listing_file) {
  const ListingLock lock;
  File file = File::Open(listing_file, Access::kReadWrite, Disposition::kCreateAlways);
  if (!file) return false;
  file.Write(RootLineBytes());
  file.CloseWritten();
  return true;
}

bool AppendToListing(TextView listing_file, TextView records, Disposition disposition) {
  const ListingLock lock;
  File file = File::Open(listing_file, Access::kReadWrite, disposition);
  if (!file) return false;
  const int64_t end = file.Size() & ~int64_t{1};
  WriteWhole(file, end, [&] {
    file.Seek(end);
    file.Write(ToUtf16LeBytes(records));
  });
  return true;
}

}  // namespace zv
