// Files that libfuse renamed in place of removing them, since it took them for open. It removes
// them at their release, but forgets those that were released while they were being renamed.
#pragma once

#include <cstddef>
#include <mutex>
#include <set>
#include <span>
#include <string_view>

#include "platform/text.h"

namespace zv {

// Keeps what the next renames on this thread are asked for; the request stays where it is until it
// is answered.
void NoteNamesOf(std::span<const std::byte> request);
// Whether a rename to this path is libfuse's own, and hides the file. path: as the mount has it.
bool Hides(std::string_view path);

// Any thread.
class HiddenFiles {
 public:
  void Add(TextView path);
  bool Holds(TextView path) const;
  // True for the one who is to remove it.
  bool Take(TextView path);

 private:
  mutable std::mutex mutex_;
  std::set<Text, std::less<>> paths_;
};

}  // namespace zv
