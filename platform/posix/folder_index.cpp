#include "platform/posix/folder_index.h"

#include <dirent.h>

#include <memory>

#include "platform/posix/native_path.h"

namespace zv {

std::optional<std::string> FindNameNoCase(const std::string& folder, std::string_view name) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(folder.c_str()), ::closedir);
  if (!stream) return std::nullopt;
  const Text wanted = DecodeFileName(name);
  while (const dirent* entry = ::readdir(stream.get())) {
    if (EqualsNoCase(DecodeFileName(entry->d_name), wanted)) return entry->d_name;
  }
  return std::nullopt;
}

}  // namespace zv
