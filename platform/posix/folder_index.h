// Case-blind look-up of names in a folder. Any thread. The names of the folders searched last are
// remembered and kept true by the system's reports of changes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zv {

// The name in the folder that equals the given one but for case, as it stands on the disk. nullopt,
// with errno, where there is none (ENOENT) or the folder cannot be read.
std::optional<std::string> FindNameNoCase(const std::string& folder, std::string_view name);
// The same, reading the folder each time: for folders whose changes are not reported.
std::optional<std::string> FindNameByReading(const std::string& folder, std::string_view name);

}  // namespace zv
