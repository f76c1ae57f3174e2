// The true names of files that are stored under a shorter one (platform/shared/stored_name.h).
//
// Folders are native paths without a backslash at the end. Any thread or process. A crash, or a
// file that could not be made, may leave a true name without its file, which does no harm.
#pragma once

#include <optional>
#include <string>

#include "platform/text.h"
#include "platform/win32/native_path.h"
#include "platform/win32/unique_handle.h"

namespace zv {

inline constexpr size_t kMaxNameUnits = 255;
inline constexpr TextView kTrueNamesFolder = u".zvnames";

// The true name kept for a stored one.
std::optional<Text> TrueNameOf(const std::wstring& folder, TextView stored);

// While it lives no true name of the folder is dropped. Hold it from keeping the name until the
// file stands.
using TrueNamesLock = UniqueHandle;

// Keeps the name, if it is a long one, as the true name of its stored one; not locked otherwise.
// nullopt, with the last error, when the name cannot be kept: then no file may be made under the
// stored one.
std::optional<TrueNamesLock> KeepTrueName(const std::wstring& folder, TextView name);
// The same for a file that is made when it is not there: one that is there keeps its spelling.
std::optional<TrueNamesLock> KeepTrueNameOfNew(const NativePath& file);
// Drops the true name of a stored one whose file is gone.
void DropTrueName(const std::wstring& folder, TextView stored);

}  // namespace zv
