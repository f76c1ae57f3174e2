// A map by texts that is asked without making one.
#pragma once

#include <functional>
#include <unordered_map>

#include "platform/text.h"

namespace zv {

struct TextHash {
  using is_transparent = void;
  size_t operator()(TextView text) const noexcept { return std::hash<TextView>()(text); }
};

template <typename Value>
using TextMap = std::unordered_map<Text, Value, TextHash, std::equal_to<>>;

template <typename Value>
void EraseFrom(TextMap<Value>& map, TextView key) noexcept {
  const auto found = map.find(key);
  if (found != map.end()) map.erase(found);
}

}  // namespace zv
