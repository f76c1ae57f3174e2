#include "cache/listing_change.h"

#include <new>

#include "cache/entry_record.h"
#include "cache/listing_file.h"

namespace zv {
namespace {

// As FormatRecord writes it, which is how most lines are already.
void AppendRecordLine(TextView line, Text* text) {
  if (IsCanonicalRecord(line)) {
    *text += line;
    *text += u'\n';
    return;
  }
  DirectoryEntry entry;
  if (ParseRecord(line, &entry)) *text += FormatRecord(entry);
}

bool HoldsRecord(TextView text, TextView leaf) {
  TextView line;
  for (RecordLines lines(text); lines.Next(&line);) {
    TextView name;
    if (RecordName(line, &name) && name.substr(0, kEntryNameUnits - 1) == leaf) return true;
  }
  return false;
}

// Guarded by the listing lock.
std::vector<ListingFetch*>& Fetches() {
  static std::vector<ListingFetch*> fetches;
  return fetches;
}

}  // namespace

ListingChanged ApplyChange(TextView text, const ListingChange& change) {
  ListingChanged changed;
  changed.text.reserve(text.size() + change.appended.size() + kEntryNameUnits);
  const bool renames = change.new_leaf && HoldsRecord(text, change.old_leaf);
  TextView line;
  for (RecordLines lines(text); lines.Next(&line);) {
    TextView name;
    if (!RecordName(line, &name)) continue;
    changed.held_records = true;
    name = name.substr(0, kEntryNameUnits - 1);
    if (name != change.old_leaf) {
      if (!renames || name != change.new_leaf) AppendRecordLine(line, &changed.text);
      continue;
    }
    DirectoryEntry entry;
    ParseRecord(line, &entry);
    changed.matched = entry;
    if (!change.new_leaf) continue;
    entry.SetName(*change.new_leaf);
    changed.text += FormatRecord(entry);
  }
  changed.text += change.appended;
  return changed;
}

ListingFetch::ListingFetch(TextView listing_file) : listing_file_(listing_file) {
  const ListingLock lock;
  Fetches().push_back(this);
}

ListingFetch::~ListingFetch() {
  const ListingLock lock;
  std::erase(Fetches(), this);
}

void ListingFetch::Note(TextView listing_file, const ListingChange& change) noexcept {
  for (ListingFetch* fetch : Fetches()) {
    if (fetch->listing_file_ != listing_file) continue;
    try {
      fetch->changes_.push_back(
          {Text(change.old_leaf), std::optional<Text>(change.new_leaf), Text(change.appended)});
    } catch (const std::bad_alloc&) {
      fetch->missed_one_ = true;
    }
  }
}

Text ListingFetch::Replay(Text text) const {
  if (missed_one_) throw std::bad_alloc();
  for (const KeptChange& kept : changes_) {
    ListingChange change{.old_leaf = kept.old_leaf, .new_leaf = {}, .appended = kept.appended};
    if (kept.new_leaf) change.new_leaf = *kept.new_leaf;
    text = ApplyChange(text, change).text;
  }
  return text;
}

}  // namespace zv
