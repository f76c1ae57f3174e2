// Case-blind look-up of names in a folder. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zv {

// The name in the folder that equals the given one but for case, as it stands on the disk.
std::optional<std::string> FindNameNoCase(const std::string& folder, std::string_view name);

}  // namespace zv
