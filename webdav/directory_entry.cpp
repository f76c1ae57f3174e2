#include "webdav/directory_entry.h"

#include <algorithm>
#include <iterator>

namespace zv {

void DirectoryEntry::SetName(TextView text) {
  name_length = static_cast<uint32_t>(text.size());
  const TextView kept = text.substr(0, kEntryNameUnits - 1);
  std::fill(std::copy(kept.begin(), kept.end(), std::begin(name)), std::end(name), u'\0');
}

TextView DirectoryEntry::Name() const {
  const auto last = std::end(name) - 1;
  return TextView(std::begin(name), std::find(std::begin(name), last, u'\0'));
}

}  // namespace zv
