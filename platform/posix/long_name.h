// The true names of files that are stored under a shorter one (platform/shared/stored_name.h).
//
// Any thread or process. A crash, or a file that could not be made, may leave a true name
// without its file, which does no harm.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/unique_fd.h"
#include "platform/text.h"

namespace zv {

inline constexpr size_t kMaxNameBytes = 255;
inline constexpr std::string_view kTrueNamesFolder = ".zvnames";

// The true name kept for a stored one.
std::optional<Text> TrueNameOf(const std::string& folder, std::string_view stored);

// While it lives no true name of the folder is dropped. Hold it from keeping the name until the
// file stands.
using TrueNamesLock = UniqueFd;

// Keeps the name, if it is a long one, as the true name of its stored one; not locked otherwise.
// nullopt, with errno, when the name cannot be kept: then no file may be made under the stored one.
std::optional<TrueNamesLock> KeepTrueName(const std::string& folder, TextView name);
// Drops the true name of a stored one whose file is gone.
void DropTrueName(const std::string& folder, std::string_view stored);

}  // namespace zv
