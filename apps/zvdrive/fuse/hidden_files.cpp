#include "apps/zvdrive/fuse/hidden_files.h"

#include <cstdint>
#include <cstring>

#include "platform/posix/fuse_records.h"

namespace zv {
namespace {

// libfuse answers a request on the thread that read it.
thread_local uint32_t opcode = 0;
thread_local std::string_view last_name;

}  // namespace

void NoteNamesOf(std::span<const std::byte> request) {
  opcode = 0;
  FuseRequestHeader header;
  if (request.size() <= sizeof header) return;
  std::memcpy(&header, request.data(), sizeof header);
  const bool renames = header.opcode == kFuseRename || header.opcode == kFuseRenameWithFlags;
  if (!renames && header.opcode != kFuseUnlink) return;
  opcode = header.opcode;
  // The names end the request, each with a zero.
  const auto body = request.subspan(sizeof header);
  last_name = {reinterpret_cast<const char*>(body.data()), body.size() - 1};
  last_name.remove_prefix(last_name.rfind('\0') + 1);
}

bool Hides(std::string_view path) {
  if (opcode == 0) return false;
  return opcode == kFuseUnlink || path.substr(path.rfind('/') + 1) != last_name;
}

void HiddenFiles::Add(TextView path) {
  const std::lock_guard lock(mutex_);
  paths_.emplace(path);
}

bool HiddenFiles::Holds(TextView path) const {
  const std::lock_guard lock(mutex_);
  return paths_.contains(path);
}

bool HiddenFiles::Take(TextView path) {
  const std::lock_guard lock(mutex_);
  const auto hidden = paths_.find(path);
  if (hidden == paths_.end()) return false;
  paths_.erase(hidden);
  return true;
}

}  // namespace zv
