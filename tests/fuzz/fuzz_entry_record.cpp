// Listing files of any bytes: every line is a record or none, what is parsed can be written, and
// what was written is read back the same.
#include "cache/entry_record.h"
#include "cache/record_list.h"
#include "tests/fuzz/require.h"

using zv::testing::Require;

namespace {

bool SameRecord(const zv::DirectoryEntry& a, const zv::DirectoryEntry& b) {
  return a.Name() == b.Name() && a.directory_flag == b.directory_flag && a.size == b.size &&
         a.attributes == b.attributes && a.creation_time == b.creation_time &&
         a.change_time == b.change_time;
}

void CheckLine(zv::TextView line) {
  zv::DirectoryEntry entry;
  zv::TextView name;
  Require(zv::ParseRecord(line, &entry) == zv::RecordName(line, &name));
  if (line.find(zv::kRecordSeparator) == zv::TextView::npos) return;
  Require(entry.Name().size() < zv::kEntryNameUnits);
  Require(entry.name_length == name.size());

  zv::Text written = zv::FormatRecord(entry);
  zv::TextView written_line;
  zv::RecordLines lines(written);
  zv::DirectoryEntry again;
  Require(lines.Next(&written_line) && zv::ParseRecord(written_line, &again));
  Require(SameRecord(entry, again));
  const bool has_zero = name.find(u'\0') != zv::TextView::npos;
  if (zv::IsCanonicalRecord(line) && !has_zero) Require(written == zv::Text(line) + u"\n");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const zv::Text text =
      zv::FromUtf16LeBytes(std::string_view(reinterpret_cast<const char*>(data), size));
  zv::TextView line;
  size_t records = 0;
  for (zv::RecordLines lines(text); lines.Next(&line);) {
    CheckLine(line);
    if (line.find(zv::kRecordSeparator) != zv::TextView::npos) ++records;
  }
  const zv::RecordList list(text);
  Require(list.size() == records);
  for (size_t i = 0; i < list.size(); ++i) {
    Require(list.At(i).last_entry == (i + 1 == list.size() ? 1U : 0U));
  }
  return 0;
}
