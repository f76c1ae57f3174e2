#include "cache/entry_record.h"

#include <cstring>

#include "platform/format.h"

namespace zv {
namespace {

constexpr TextView FormatOf(RecordFormat format) {
  switch (format) {
    case RecordFormat::kListing:
      return u"%s%c%d%c%I64d%c%d%c%I64d%c%I64d\r\n";
    case RecordFormat::kAppended:
      return u"%s%c%d%c%I64d%c%ld%c%I64d%c%I64d\r\n";
    case RecordFormat::kShortSize:
      break;
  }
  return u"%s%c%d%c%ld%c%ld%c%I64d%c%I64d\r\n";
}

// Digits without leading zeros, few enough to fit, perhaps with a sign.
bool IsPlainNumber(TextView field, size_t max_digits) {
  if (field == u"0") return true;
  if (field.starts_with(u'-')) field.remove_prefix(1);
  if (field.empty() || field.size() > max_digits || field.front() == u'0') return false;
  for (const char16_t unit : field) {
    if (unit < u'0' || unit > u'9') return false;
  }
  return true;
}

// A folder's listing is searched line by line for each of its files: many bytes at a time.
size_t FindLineEnd(TextView text) {
  const char* bytes = reinterpret_cast<const char*>(text.data());
  const size_t size = text.size() * sizeof(char16_t);
  for (size_t at = 0; at < size; ++at) {
    const void* found = std::memchr(bytes + at, '\n', size - at);
    if (!found) break;
    at = static_cast<size_t>(static_cast<const char*>(found) - bytes);
    // It may be a part of another unit.
    if (text[at / sizeof(char16_t)] == u'\n') return at / sizeof(char16_t);
  }
  return TextView::npos;
}

TextView TakeField(TextView* rest) {
  const size_t end = rest->find(kRecordSeparator);
  const TextView field = rest->substr(0, end);
  *rest = end == TextView::npos ? TextView() : rest->substr(end + 1);
  return field;
}

}  // namespace

Text FormatRecord(RecordFormat format, const EntryFields& fields) {
  constexpr char16_t kMark = kRecordSeparator;
  return Format(FormatOf(format), fields.name, kMark, fields.directory_flag, kMark, fields.size,
                kMark, fields.attributes, kMark, fields.creation_time, kMark, fields.change_time);
}

Text FormatRecord(const DirectoryEntry& entry) {
  return FormatRecord(RecordFormat::kListing,
                      {.name = entry.Name(),
                       .directory_flag = static_cast<int32_t>(entry.directory_flag),
                       .size = entry.size,
                       .attributes = static_cast<int32_t>(entry.attributes),
                       .creation_time = entry.creation_time,
                       .change_time = entry.change_time});
}

bool RecordName(TextView line, TextView* name) {
  const size_t end = line.find(kRecordSeparator);
  if (end == TextView::npos) return false;
  *name = line.substr(0, end);
  return true;
}

bool ParseRecord(TextView line, DirectoryEntry* entry) {
  TextView name;
  if (!RecordName(line, &name)) return false;
  TextView rest = line.substr(name.size() + 1);
  *entry = {};
  entry->SetName(name);
  entry->directory_flag = static_cast<uint32_t>(ParseInt32(TakeField(&rest)));
  entry->size = ParseInt64(TakeField(&rest));
  entry->attributes = static_cast<uint32_t>(ParseInt32(TakeField(&rest)));
  entry->kind = kListedEntryKind;
  entry->creation_time = ParseInt64(TakeField(&rest));
  entry->SetModified(ParseInt64(TakeField(&rest)));
  return true;
}

bool IsCanonicalRecord(TextView line) {
  constexpr size_t kMaxDigits32 = 9;
  constexpr size_t kMaxDigits64 = 18;
  if (!line.ends_with(u'\r')) return false;
  line.remove_suffix(1);
  if (TakeField(&line).size() >= kEntryNameUnits) return false;
  for (const size_t max_digits : {kMaxDigits32, kMaxDigits64, kMaxDigits32, kMaxDigits64}) {
    if (!IsPlainNumber(TakeField(&line), max_digits)) return false;
  }
  return IsPlainNumber(line, kMaxDigits64);
}

std::string RootLineBytes() {
  const TextView lines =
      u".?1?0?0?12777135389?12777135389\r\n"
      u"..?1?0?0?12777135389?12777135389\r\n";
  // The count of units is taken for the count of bytes; readers are used to what that leaves.
  return ToUtf16LeBytes(lines).substr(0, lines.size());
}

bool RecordLines::Next(TextView* line) {
  if (rest_.empty()) return false;
  const size_t end = FindLineEnd(rest_);
  *line = rest_.substr(0, end);
  rest_ = end == TextView::npos ? TextView() : rest_.substr(end + 1);
  if (line->empty()) rest_ = {};
  return !line->empty();
}

}  // namespace zv
