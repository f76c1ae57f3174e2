// The drive as a file system sees it: turns its operations into the driver's requests and keeps
// what a driver must keep - what walks taught, the state of open files, the order of requests for
// one file.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "apps/zvdrive/drive/content_view.h"
#include "apps/zvdrive/drive/drive_error.h"
#include "apps/zvdrive/drive/drive_host.h"
#include "apps/zvdrive/drive/drive_requests.h"
#include "apps/zvdrive/drive/folder_listing.h"
#include "apps/zvdrive/drive/lock_while.h"
#include "apps/zvdrive/drive/name_guard.h"
#include "apps/zvdrive/drive/open_file.h"
#include "apps/zvdrive/drive/sent_times.h"
#include "apps/zvdrive/drive/sync_rules.h"
#include "apps/zvdrive/drive/text_map.h"
#include "apps/zvdrive/drive/walk_cache.h"

namespace zv {

struct DriveOptions {
  Text drive_letter = u"Z:";
  // How long a walk answers the look-ups and listings that follow it.
  std::chrono::milliseconds walk_lifetime{2000};
  bool is_sync = false;  // the account's type
  // How long a file's reads fail after one failed, or until it is opened again: the reads that were
  // on their way would start a download over that was cancelled or has just been given up.
  std::chrono::milliseconds failed_read_pause{5000};
  // How long an operation waits for others before a signal to the program that asked ends it:
  // signals that a program lives by do not disturb what takes its usual time.
  std::chrono::milliseconds undisturbed{1000};
};

// The largest file that the worker serves rightly, bytes.
inline constexpr int64_t kLargestFile = 0x7FFFFFFF;

using FileHandle = std::shared_ptr<OpenFile>;
using OpenFilesByName = std::map<Text, FileHandle>;

struct OpenedFile {
  FileHandle file;
  // The content is the one that was read before: pages kept by the system still hold.
  bool is_unchanged = false;
};

// Paths: "\Docs\a.txt"; the root is "\". process: image name of the program that asks. Any thread
// may call any member; calls for one file take turns.
class VirtualDrive {
 public:
  VirtualDrive(RequestChannel& channel, DriveHost& host, DriveOptions options);
  // Waits for the listings that are under way.
  ~VirtualDrive();
  VirtualDrive(const VirtualDrive&) = delete;
  VirtualDrive& operator=(const VirtualDrive&) = delete;

  DriveResult<NodeInfo> Look(TextView path);
  // Where the file is now, or was when it was removed.
  Text PathOf(const OpenFile& file) const;
  DriveResult<std::vector<NamedNode>> List(TextView folder);
  // The same for those who do not wait for its end.
  std::shared_ptr<FolderListing> OpenFolder(TextView folder);
  DriveResult<VolumeSize> Volume() { return requests_.Volume(); }

  // --- files
  // kInterrupted, here and below: what went before it took longer than the asking program wanted to
  // wait. Nothing is lost: it may be asked again.
  DriveResult<OpenedFile> Open(TextView path, bool empty_it);
  // kExists when it exists.
  DriveResult<OpenedFile> Create(TextView path);
  // What a reader may read in place of asking the drive: the content as the last Open found it,
  // brought into the cache when it is not there. nullopt while it is not the server's, or when it
  // cannot be had: then its reads fail for a while, as after one that failed.
  std::optional<ContentView> ViewContent(const FileHandle& file);
  // Between the two a program may change the content as shared memory, past the drive: what it
  // changed is sent at the next Flush and at the end.
  DriveError BeginMapping(OpenFile& file);
  void EndMapping(OpenFile& file);
  DriveResult<size_t> Read(OpenFile& file, int64_t offset, std::span<std::byte> into);
  DriveError Write(OpenFile& file, int64_t offset, const Written& written);
  // Writes at the end as the drive knows it.
  DriveError Append(OpenFile& file, const Written& written);
  DriveError Resize(OpenFile& file, int64_t size);
  DriveError ResizePath(TextView path, int64_t size, TextView process);
  // Sends what was written. kNotStored: it stays in the cache and is tried again later.
  DriveError Flush(OpenFile& file, TextView process);
  // Every Open and Create is followed by one Close.
  DriveError Close(const FileHandle& file, TextView process);
  // Sends the content of a file that an earlier session could not.
  // has_content: false for one that waits as a file without data. The listing's size does not tell.
  DriveError SendAgain(TextView path, bool has_content, TextView process);

  // --- names
  DriveError MakeFolder(TextView path);
  DriveError RemoveFile(TextView path, TextView process);
  DriveError RemoveFolder(TextView path, TextView process);
  DriveError Rename(TextView from, TextView to, bool replace, TextView process);

  // Something was changed beneath the drive's feet: the entry, or all of a folder's, must be asked
  // for anew.
  void Invalidate(TextView path) noexcept;

 private:
  using Nodes = WalkCache::Nodes;

  // nullopt: no fresh walk of the parent can tell.
  std::optional<DriveResult<NodeInfo>> LookInFreshWalk(TextView path);
  DriveResult<NodeInfo> LookInWalk(TextView path, bool always_ask);
  DriveResult<NodeInfo> LookInLatestWalk(TextView path) const;
  // Makes sure that the folder's walk is fresh; always_ask: even if it already is. sink gets the
  // entries of the walk that this takes, if it takes one.
  DriveError WalkFolder(TextView folder, bool always_ask, const DriveRequests::NodeSink& sink = {});
  class UnlessWalked;
  void ListInto(TextView folder, FolderListing& listing);
  DriveError ListFolder(TextView folder, FolderListing& listing);
  // Both with the drive's mutex held.
  DriveError AddLatest(TextView folder, bool walked, FolderListing& listing) const;
  OpenFilesByName OpenFilesIn(TextView folder) const;
  // kNone when nothing stands there, but its folder does.
  DriveError CheckAbsent(TextView path);
  DriveError CheckEmpty(TextView folder);
  // kNotUnique while content that a program or the server still needs is cached as if it lay in the
  // folder.
  DriveError CheckBystanders(TextView folder);
  std::optional<NodeInfo> QueryInfo(TextView path);
  // The same, and remembers the answer for the look-ups that follow.
  std::optional<NodeInfo> QueryEntry(TextView path);
  // Asks anew; kIo when the server does not list it, or does not answer.
  DriveError CheckListed(TextView path);
  bool Claim(TextView path, bool is_folder);
  void Remember(const OpenFile& file) noexcept;

  // Waits until no rename, removal or making of the path, or of a folder above it, is under way;
  // then gives a mark of the names as they are now.
  uint64_t AwaitNames(TextView path);
  // One open more. nullptr: names have changed since the mark was taken, and the path may mean
  // something else by now. make: the file is a new one, kExists when somebody made it meanwhile.
  DriveResult<FileHandle> Acquire(TextView path, const NodeInfo& info, uint64_t names, bool make);
  DriveResult<FileHandle> LookAndAcquire(TextView path);
  DriveResult<FileHandle> AcquireUnlisted(TextView path);
  void Release(const FileHandle& file);
  // Releases an open with its scope, whatever ends that, unless it is kept.
  class Hold {
   public:
    Hold(VirtualDrive& drive, FileHandle file) : drive_(drive), file_(std::move(file)) {}
    ~Hold() {
      if (file_) drive_.Release(file_);
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    FileHandle Keep() { return std::exchange(file_, nullptr); }

   private:
    VirtualDrive& drive_;
    FileHandle file_;
  };
  std::vector<FileHandle> OpenWithin(TextView path) const;

  // For what waits for others.
  WhileWaiting UnlessDisturbed() const;
  // Waits for the others who use the file. Holds nothing when the asking program is interrupted.
  PatientLock LockUnlessInterrupted(OpenFile& file);
  // Waits for the others who use the file, and lets what is done under the lock end early, too.
  class PatientUse {
   public:
    PatientUse(const VirtualDrive& drive, OpenFile& file);
    ~PatientUse();
    PatientUse(const PatientUse&) = delete;
    PatientUse& operator=(const PatientUse&) = delete;

    // False: the asking program is interrupted.
    explicit operator bool() const { return lock_.owns_lock(); }

   private:
    OpenFile& file_;
    PatientLock lock_;
  };

  // The following are called with the file's own mutex held.
  DriveResult<bool> BringUpToDate(OpenFile& file);
  // The reads that were on their way would start what has just failed over.
  void PauseReads(OpenFile& file) const;
  // cached: the content may be brought into the cache for it.
  DriveResult<size_t> ReadLocked(const OpenFile& file, int64_t offset, std::span<std::byte> into,
                                 bool cached);
  DriveError BringContentIn(OpenFile& file);
  // Asks for the end of the transfer that the asking program waits for, when that is interrupted.
  // Whether it is not.
  bool GoesOnWaiting(TextView path);
  // The worker tells success or failure alone. bytes: what was to be stored.
  DriveError Explained(DriveError error, size_t bytes);
  // What would not fit is not asked for: its download fails again and again, and others wait.
  bool HasRoomToFetch(const OpenFile& file);
  // Makes the worker bring the whole content into its cache. For a file that is not empty.
  DriveError Fetch(const OpenFile& file);
  void EmptyIt(OpenFile& file);
  DriveError Gather(OpenFile& file, int64_t offset, const Written& written);
  // Hands a whole block on without waiting for it, once the one before it is settled.
  DriveError BeginStoring(OpenFile& file);
  DriveError SettleStoring(OpenFile& file);
  void GiveUpStored(OpenFile& file);
  // Afterwards the worker holds all that was written.
  DriveError StoreGathered(OpenFile& file);
  DriveError StoreBlocks(OpenFile& file, int64_t offset, std::span<const std::byte> data);
  DriveError StoreBlock(OpenFile& file, int64_t offset, std::span<const std::byte> data);
  void MarkUnsent(OpenFile& file);
  // Takes that back.
  void MarkSent(OpenFile& file);
  // Unsent for no other reason than that it may be changed past the drive, and it was not.
  bool IsOnlyMapped(const OpenFile& file);
  DriveError BeginAnew(OpenFile& file);
  class Spool;
  struct BeforeCut;
  DriveError Shrink(OpenFile& file, int64_t size);
  DriveError SetAside(const OpenFile& file, int64_t size, Spool& spool);
  DriveError StoreFrom(Spool& spool, OpenFile& file, int64_t size);
  void GiveUpCut(OpenFile& file, const BeforeCut& before);
  DriveError SendWhole(OpenFile& file, TextView process);
  DriveError SendEmpty(OpenFile& file, TextView process);
  DriveError Send(OpenFile& file, TextView process);
  DriveError WriteLocked(OpenFile& file, int64_t offset, const Written& written);
  DriveError ResizeLocked(OpenFile& file, int64_t size);

  struct NameChange;
  // Waits for what is read, sent or written at the path or beneath it just now. Whether that has
  // ended.
  bool AwaitUsers(TextView path, const WhileWaiting& while_waiting) const;
  // To change the names. Holds nothing when the asking program is interrupted.
  PatientLock AwaitTurn(std::span<const Text> names);
  bool IsInUse(TextView path) const;
  // Whether the target exists, when it may be replaced.
  DriveResult<bool> CheckTarget(const NodeInfo& source, TextView to, bool replace);
  enum class OnTarget { kFail, kReplace, kExpectNone };
  DriveError RenameLocked(TextView from, const NodeInfo& source, TextView to, OnTarget target,
                          TextView process);
  DriveError AskRename(TextView from, const NodeInfo& source, TextView to, OnTarget target,
                       TextView process);
  DriveError AskSyncRename(TextView from, const NodeInfo& source, TextView to, OnTarget target,
                           TextView process);
  DriveError AskMakeFolder(TextView path);
  void SettleUnsentRename(TextView from, TextView to, TextView process);
  DriveError SendBeforeRename(std::span<const FileHandle> moved, TextView process);
  DriveError BringSaveIn(TextView from, const NodeInfo& source, const FileHandle& open);
  struct NewNames;
  NewNames MakeNewNames(TextView from, TextView to, std::span<const FileHandle> moved) const;
  void TakeOverRename(TextView from, NodeInfo source, TextView to,
                      std::span<const FileHandle> moved, NewNames names) noexcept;
  DriveError Remove(TextView path, bool is_folder, TextView process);
  void ForgetRemoved(TextView path) noexcept;

  DriveRequests requests_;
  DriveHost& host_;
  const DriveOptions options_;
  // The root has no entry that tells its time: it counts from the drive's own beginning.
  const Seconds1601 since_ = ToSeconds(SystemTime());
  const SyncRules sync_;

  // Guards what follows down to the next mutex; never held while a request is under way.
  mutable std::mutex mutex_;
  WalkCache walks_;
  NameGuard names_;
  std::map<Text, FileHandle, std::less<>> open_files_;
  SentTimes sent_times_;
  // Of the cached content that a file's readers saw last.
  TextMap<uint64_t> seen_versions_;
  std::vector<Text> changing_names_;  // of the change under way
  uint64_t name_changes_ = 0;         // changes that began, files that were made
  std::condition_variable names_changed_;
  int listings_ = 0;  // under way, each on a thread of its own
  std::condition_variable listing_ended_;

  std::mutex walk_mutex_;          // one walk at a time
  std::timed_mutex rename_mutex_;  // one change of names at a time: it holds many files' mutexes
};

}  // namespace zv
