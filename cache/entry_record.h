// Entry records: one line of a listing file for one entry of its folder,
//   name?directory flag?size?attributes?creation time?last-write time CR LF
// in decimal; times are whole seconds since 1601-01-01 UTC. Any thread, no state.
#pragma once

#include <cstdint>

#include "platform/text.h"
#include "webdav/directory_entry.h"

namespace zv {

inline constexpr char16_t kRecordSeparator = u'?';

// What a record holds.
struct EntryFields {
  TextView name;
  int32_t directory_flag = 0;  // 1 folder, 0 file
  int64_t size = 0;            // bytes
  int32_t attributes = 0;
  int64_t creation_time = 0;
  int64_t change_time = 0;
};

// Records are written in three ways, which differ in the width of size and attributes.
enum class RecordFormat {
  kListing,    // listings from the server, and listings written back: 64-bit size
  kAppended,   // an entry added after a move or an upload: 64-bit size
  kShortSize,  // an entry made here: the low 32 bits of the size, signed
};

// With its line end.
Text FormatRecord(RecordFormat format, const EntryFields& fields);
// In the listing form: creation and change time of the entry.
Text FormatRecord(const DirectoryEntry& entry);

// The name of a record's line, as long as it is there; false for a line without separator, which is
// no record.
bool RecordName(TextView line, TextView* name);
// Fills an entry of a listing (kind 9, three equal times) from a line, whose carriage return may
// still be there. Missing or broken numbers read as 0. False for a line without separator.
bool ParseRecord(TextView line, DirectoryEntry* entry);

// Whether a line, with its carriage return, is what FormatRecord would make of what ParseRecord
// reads in it. May be false for a few that are.
bool IsCanonicalRecord(TextView line);

// The lines of the folder itself and its parent at the head of a newly made listing, as bytes: the
// first line and the first byte of the second one, 67 in all.
std::string RootLineBytes();

// The lines of a listing: split at line feeds, which are dropped; carriage returns stay. Ends at
// the text's end or at the first line that holds nothing at all.
class RecordLines {
 public:
  explicit RecordLines(TextView text) : rest_(text) {}
  // False at the end.
  bool Next(TextView* line);

 private:
  TextView rest_;
};

}  // namespace zv
