#include "cache/record_list.h"

#include <utility>

#include "cache/entry_record.h"

namespace zv {

RecordList::RecordList(Text text) : text_(std::move(text)) {
  TextView line;
  for (RecordLines lines(text_); lines.Next(&line);) {
    held_lines_ = true;
    TextView name;
    if (!RecordName(line, &name)) continue;
    records_.push_back({static_cast<size_t>(line.data() - text_.data()), line.size()});
  }
}

DirectoryEntry RecordList::At(size_t index) const {
  const Place& place = records_.at(index);
  DirectoryEntry entry;
  ParseRecord(TextView(text_).substr(place.begin, place.size), &entry);
  entry.last_entry = index + 1 == records_.size() ? 1 : 0;
  return entry;
}

}  // namespace zv
