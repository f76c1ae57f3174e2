// The journals in the sync data folder: one line each, written by the worker before its call, in
// UTF-16LE without a byte-order mark. Any thread, no state; may throw Error(kFile).
#pragma once

#include <optional>

#include "platform/text.h"

namespace zv {

// The journal's line without its end; nullopt when there is none or it is empty.
std::optional<Text> ReadJournal(TextView name);

// A line that names a file or a folder: "F_/a/b.txt", "D_/a".
struct JournalEntry {
  bool is_folder = false;
  Text path;
};
// nullopt as well when the line begins otherwise.
std::optional<JournalEntry> ReadJournalEntry(TextView name);

}  // namespace zv
