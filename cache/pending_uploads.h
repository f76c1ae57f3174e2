// The list of files whose contents are not on the server yet: what a host program shows and tries
// again.
//
// It lives beside the cache folder and outlasts the process. A path is on it from the moment an
// upload begins until the server's copy is verified, so that neither a failure nor a crash makes a
// file fall into oblivion; the cache keeps such a file's content and its entry in the folder's
// listing. While cached content is written over, a path is on it, too: its content is kept.
#pragma once

#include <optional>
#include <vector>

#include "cache/cache_names.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "platform/text.h"

namespace zv {

enum class PendingKind {
  kContent,    // the content file waits to be sent: send it with TransferCachedFile
  kEmpty,      // a file of zero bytes waits to be made: make it with BackupZeroFile
  kCacheOnly,  // a sync account's temporary or lock file, not sent under this name
  // Blocks are laid over the server's content; what follows makes another kind of it. Left by a
  // process that was killed it means nothing.
  kBeingWritten,
};

struct PendingUpload {
  Text path;  // server path, "/" first
  PendingKind kind = PendingKind::kContent;
  Seconds1601 since;  // of the first attempt
  Text reason;  // why the last attempt failed; empty while one is under way or was cut off by a
                // crash
};

// Any thread; objects are cheap and hold no state but the list's place. Where a change cannot be
// written, false is returned with LastError() set and the list is as it was. A list that is there
// and cannot be read may hold anything: what it would tell is never taken for "nothing waits".
class PendingUploads {
 public:
  explicit PendingUploads(const CacheNames& names) : names_(names) {}

  // In the order in which they were added. Empty when there is no list; throws Error(kFile) when
  // it cannot be read.
  std::vector<PendingUpload> List() const;
  std::optional<PendingUpload> Find(TextView path) const;
  // True, too, when the list cannot be read. Does not throw.
  bool Contains(TextView path) const noexcept;
  // A path or anything beneath it. Throws as List does.
  bool ContainsTree(TextView path) const;
  // Adds a path, or gives one that is there another kind and reason.
  bool Add(TextView path, PendingKind kind, TextView reason);
  bool Remove(TextView path);
  // What an earlier process was writing. For the process that serves the drive, at its beginning.
  bool RemoveUnfinished();
  // A path and everything beneath it, but nothing at or beneath the other one.
  bool RemoveTree(TextView path, TextView except = {});
  // A rename of a path and everything beneath it takes two steps, so that each content file is
  // listed under the name that it has, wherever the process ends. Before contents are moved: what
  // will be moved is listed under its new name, too.
  bool AddRenamed(TextView old_path, TextView new_path);
  // Afterwards: the old names go, with what else was listed under the new name. What could not be
  // moved keeps its old name.
  bool Rename(TextView old_path, TextView new_path);

 private:
  Text FileName() const;
  // The list's file, or a closed one when there is none.
  File Open(Access access) const;
  bool HasOwnContent(TextView path, TextView other_path) const;
  // file: the list's, open for writing, or closed when there is none.
  bool Write(File file, const std::vector<PendingUpload>& list) const;
  bool Append(File file, const PendingUpload& upload) const;
  template <typename Change>
  bool Update(Change&& change) noexcept;

  CacheNames names_;
};

}  // namespace zv
