#include "platform/shared/http_headers.h"

#include <algorithm>

namespace zv {

void HeaderList::Add(TextView block) {
  while (!block.empty()) {
    const TextView line = block.substr(0, block.find(u'\n'));
    block.remove_prefix(std::min(line.size() + 1, block.size()));
    const size_t colon = line.find(u':');
    const Text name = colon == TextView::npos ? Text() : Trim(line.substr(0, colon));
    if (name.empty()) continue;
    Remove(name);
    lines_.push_back({name, Trim(line.substr(colon + 1))});
  }
}

void HeaderList::Remove(TextView name) {
  std::erase_if(lines_, [name](const Line& line) { return EqualsNoCase(line.name, name); });
}

const Text* HeaderList::Find(TextView name) const {
  const auto found = std::ranges::find_if(
      lines_, [name](const Line& line) { return EqualsNoCase(line.name, name); });
  return found == lines_.end() ? nullptr : &found->value;
}

}  // namespace zv
