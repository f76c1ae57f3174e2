// How a program's open of a file goes on: through the kernel's cache, past it, or past us.
#pragma once

#include <string_view>

#include "apps/zvdrive/drive/virtual_drive.h"

struct fuse_file_info;

namespace zv {

// Tells the kernel how to treat the open and keeps it until its release; closes the file when that
// fails. path: as the mount has it.
DriveError KeepOpenOrClose(fuse_file_info* info, const OpenedFile& opened, std::string_view path);

}  // namespace zv
