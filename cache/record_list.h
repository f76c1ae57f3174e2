// The records of one listing, held as text and parsed one by one: loading many is cheap, and so is
// asking for any of them. One thread at a time.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/text.h"
#include "webdav/directory_entry.h"

namespace zv {

class RecordList {
 public:
  RecordList() = default;
  explicit RecordList(Text text);

  // Whether the text held any line at all, be it a record or not.
  bool held_lines() const { return held_lines_; }
  size_t size() const { return records_.size(); }
  // Number index (from 0) as an entry of a listing; the last one carries the last-entry flag.
  DirectoryEntry At(size_t index) const;

 private:
  struct Place {
    size_t begin;
    size_t size;
  };

  Text text_;
  std::vector<Place> records_;
  bool held_lines_ = false;
};

}  // namespace zv
