// Names that are too long for this system's disks: at most 255 bytes fit, while a name of 255 units
// may need 765 bytes and the name of a cached file grows with the server path it stands for.
//
// Such a name is stored under a shorter one, made of its beginning and a hash, both of the
// small-letter form, so that look-ups need nothing but the name and are case-blind by themselves.
// The true name is kept in the hidden folder ".zvnames" beside it, in a file of the shorter name,
// for listings.
//
// Any thread or process. A crash may leave a true name without its file, which does no harm.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/unique_fd.h"
#include "platform/text.h"

namespace zv {

inline constexpr size_t kMaxNameBytes = 255;
inline constexpr std::string_view kTrueNamesFolder = ".zvnames";

std::string StoredNameOf(TextView long_name);
// By its look; a short name may look like it, too, and then has no true name.
bool LooksStored(std::string_view name);

// The true name kept for a stored one.
std::optional<Text> TrueNameOf(const std::string& folder, std::string_view stored);

// While it lives no true name of the folder is dropped. Hold it from keeping the name until the
// file stands.
using TrueNamesLock = UniqueFd;

// Keeps the name, if it is a long one, as the true name of its stored one. Not locked otherwise, or
// when the name cannot be kept.
TrueNamesLock KeepTrueName(const std::string& folder, TextView name);
// Drops the true name of a stored one whose file is gone.
void DropTrueName(const std::string& folder, std::string_view stored);

}  // namespace zv
