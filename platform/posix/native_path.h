// Windows paths as paths of this system.
//
// Names are stored in UTF-8; an unpaired surrogate is stored in the three bytes that UTF-8 would
// have for it, so that every name comes back as it went. A name longer than the 255 bytes that a
// file name may have is stored under a shorter one (platform/shared/stored_name.h).
#pragma once

#include <optional>
#include <string>

#include "platform/text.h"

namespace zv {

std::string EncodeFileName(TextView name);
Text DecodeFileName(std::string_view bytes);

struct NativePath {
  std::string path;      // absolute, no trailing slash
  size_t root_size = 0;  // of the drive's root folder, a prefix of path
  Text long_name;        // the last element, when it is stored under a shorter name

  std::string root() const { return path.substr(0, root_size); }
  bool is_root() const { return path.size() == root_size; }
};

// "." and ".." are followed by their words, ".." stops at the root. nullopt, with LastError(), when
// an element holds a zero.
std::optional<NativePath> ToNativePath(TextView path);

// The same file or folder with every element as it stands on the disk: each that is not there
// exactly is looked for case-blind. nullopt, with errno, when it is not there (ENOENT; or the
// folder that should hold it is not) or the disk does not tell.
std::optional<std::string> FindOnDisk(const NativePath& path);

// Whether a failed look says that nothing is there. Any other failure tells nothing.
bool MeansAbsent(int error);

// What the disk has for a path that is not there exactly, as its caller has just seen.
struct Elsewhere {
  std::optional<std::string> found;  // the path under another case
  std::optional<std::string> place;  // for a new file; nullopt when its folder is not there
  int error = 0;                     // without found: ENOENT, or why the disk does not tell
};
Elsewhere LookElsewhere(const NativePath& path);

// Where a new file belongs: the folder as it stands on the disk and the last element as given. The
// drive's root is made when missing. nullopt, with LastError(), when the folder is not there.
std::optional<std::string> PlaceForNew(const NativePath& path);

// Parts of a native path.
std::string_view FolderOf(std::string_view path);
std::string_view NameOf(std::string_view path);

}  // namespace zv
