#include "tests/apps/fake_worker.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "apps/zvdrive/drive/drive_path.h"
#include "config/file_names.h"
#include "platform/format.h"
#include "webdav/directory_entry.h"

namespace zv::testing {
namespace {

constexpr size_t kWholeFileRead = 51200;

template <typename Record>
ChannelReply ReplyWith(uint32_t code, const Record& record) {
  ChannelReply reply;
  reply.code = code;
  reply.record_size = sizeof record;
  std::memcpy(reply.record.data(), &record, sizeof record);
  return reply;
}

ChannelReply StatusReply(uint32_t code, StatusWord status) { return ReplyWith(code, status); }

ChannelReply TransferAnswer(uint32_t code, uint32_t length, uint32_t status) {
  return ReplyWith(code, TransferReply{.length = length, .status = status, .buffer = 0});
}

AskedRequest Describe(DriveQueue queue, const RequestRecord& record) {
  return {.queue = queue,
          .major = static_cast<MajorCode>(record.major),
          .minor = static_cast<MinorCode>(record.minor),
          .path = Text(record.Path()),
          .second_path = Text(record.SecondPath()),
          .process = Text(record.ProcessName()),
          .length = record.length_or_index,
          .offset = record.offset,
          .force = record.force_store != 0};
}

std::string BytesOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

RequestTest OfMajor(MajorCode major) {
  return [major](const AskedRequest& asked) { return asked.major == major; };
}

RequestTest OfMinor(MinorCode minor) {
  return [minor](const AskedRequest& asked) { return asked.minor == minor; };
}

FakeWorker::FakeWorker() { nodes_[Text(kDriveRoot)].is_folder = true; }

// --- the server

void FakeWorker::PutOnServer(const Text& path, bool is_folder, std::string_view content) {
  Node& node = nodes_[path];
  node.is_folder = is_folder;
  node.content = content;
  node.modified = ++now_;
  node.version = ++last_version_;
}

void FakeWorker::PutFolder(TextView path) {
  const std::lock_guard lock(mutex_);
  PutOnServer(Text(path), true, {});
}

void FakeWorker::PutFile(TextView path, std::string_view content) {
  const std::lock_guard lock(mutex_);
  PutOnServer(Text(path), false, content);
}

void FakeWorker::RemoveFromServer(TextView path) {
  const std::lock_guard lock(mutex_);
  std::erase_if(nodes_, [&](const auto& node) { return IsWithin(node.first, path); });
}

std::optional<std::string> FakeWorker::ServerFile(TextView path) const {
  const std::lock_guard lock(mutex_);
  const auto found = nodes_.find(Text(path));
  if (found == nodes_.end() || found->second.is_folder) return std::nullopt;
  return found->second.content;
}

bool FakeWorker::ServerHasFolder(TextView path) const {
  const std::lock_guard lock(mutex_);
  const auto found = nodes_.find(Text(path));
  return found != nodes_.end() && found->second.is_folder;
}

std::map<Text, std::optional<std::string>> FakeWorker::ServerTree() const {
  const std::lock_guard lock(mutex_);
  std::map<Text, std::optional<std::string>> tree;
  for (const auto& [path, node] : nodes_) {
    if (path == kDriveRoot) continue;
    tree[path] = node.is_folder ? std::nullopt : std::optional(node.content);
  }
  return tree;
}

// --- the cache

bool FakeWorker::IsCached(TextView path) const {
  const std::lock_guard lock(mutex_);
  return contents_.contains(Text(path));
}

void FakeWorker::PretendSize(TextView path, int64_t size) {
  const std::lock_guard lock(mutex_);
  pretended_sizes_[Text(path)] = size;
}

int64_t FakeWorker::SizeOf(const Text& path, int64_t size) const {
  const auto found = pretended_sizes_.find(path);
  return found == pretended_sizes_.end() ? size : found->second;
}

FakeWorker::Listing FakeWorker::Fetch(const Text& folder) const {
  Listing listing;
  for (const auto& [path, node] : nodes_) {
    if (path == kDriveRoot || ParentOf(path) != folder) continue;
    const auto size = static_cast<int64_t>(node.content.size());
    listing[LeafOf(path)] = {node.is_folder, SizeOf(path, size), node.modified};
  }
  // What was not sent yet does not vanish.
  for (const Text& path : unsent_) {
    const auto cached = contents_.find(path);
    if (ParentOf(path) != folder || cached == contents_.end()) continue;
    listing[LeafOf(path)] = {false, static_cast<int64_t>(cached->second.content.size()), now_};
  }
  return listing;
}

// Null when the folder does not exist.
FakeWorker::Listing* FakeWorker::ListingOf(const Text& folder) {
  const auto found = listings_.find(folder);
  if (found != listings_.end()) return &found->second;
  const auto node = nodes_.find(folder);
  if (node == nodes_.end() || !node->second.is_folder) return nullptr;
  return &(listings_[folder] = Fetch(folder));
}

void FakeWorker::Record(const Text& path, const Listed& entry) {
  if (Listing* listing = ListingOf(ParentOf(path))) (*listing)[LeafOf(path)] = entry;
}

void FakeWorker::Unrecord(const Text& path) {
  const auto found = listings_.find(ParentOf(path));
  if (found != listings_.end()) found->second.erase(LeafOf(path));
}

bool FakeWorker::Restore(const Text& path) {
  const auto node = nodes_.find(path);
  if (refuses_restores_ || node == nodes_.end() || node->second.is_folder) return false;
  if (!HasRoom(static_cast<int64_t>(node->second.content.size()))) return false;
  contents_[path] = {node->second.content, node->second.version, ++last_version_};
  return true;
}

bool FakeWorker::Upload(const Text& path) {
  const auto cached = contents_.find(path);
  if (cached == contents_.end()) {
    Unrecord(path);
    return false;
  }
  const auto size = static_cast<int64_t>(cached->second.content.size());
  Record(path, {false, size, now_});
  const bool has_parent = nodes_.contains(ParentOf(path)) && nodes_[ParentOf(path)].is_folder;
  if (refuses_uploads_ || !has_parent) {
    if (refuses_notes_) return false;
    unsent_.insert(path);
    overdue_.insert(path);
    return false;
  }
  PutOnServer(path, false, cached->second.content);
  cached->second.server_version = nodes_[path].version;
  unsent_.erase(path);
  overdue_.erase(path);
  return true;
}

void FakeWorker::Remove(const Text& path) {
  const auto is_within = [&](const auto& entry) { return IsWithin(entry.first, path); };
  std::erase_if(nodes_, is_within);
  std::erase_if(contents_, is_within);
  std::erase_if(listings_, is_within);
  std::erase_if(unsent_, [&](const Text& unsent) { return IsWithin(unsent, path); });
  std::erase_if(overdue_, [&](const Text& overdue) { return IsWithin(overdue, path); });
  Unrecord(path);
}

// --- faults

void FakeWorker::LoseReplies(RequestTest which) {
  const std::lock_guard lock(mutex_);
  loses_ = std::move(which);
}

void FakeWorker::FailStoring(RequestTest which) {
  const std::lock_guard lock(mutex_);
  fails_storing_ = std::move(which);
}

void FakeWorker::FailNextBlocks(int count) { failing_blocks_ = count; }

void FakeWorker::OnRequest(std::function<void(const AskedRequest&)> observer) {
  const std::lock_guard lock(mutex_);
  observer_ = std::move(observer);
}

// --- what was asked

std::vector<AskedRequest> FakeWorker::Log() const {
  const std::lock_guard lock(mutex_);
  return log_;
}

std::vector<AskedRequest> FakeWorker::Log(const RequestTest& which) const {
  auto log = Log();
  std::erase_if(log, [&](const AskedRequest& asked) { return !which(asked); });
  return log;
}

void FakeWorker::ClearLog() {
  const std::lock_guard lock(mutex_);
  log_.clear();
  checked_.clear();
}

std::vector<Text> FakeWorker::Checked() const {
  const std::lock_guard lock(mutex_);
  return checked_;
}

std::vector<Text> FakeWorker::Cancelled() const {
  const std::lock_guard lock(mutex_);
  return cancelled_;
}

// --- requests

std::optional<ChannelReply> FakeWorker::Submit(DriveQueue queue, const RequestRecord& record,
                                               std::span<const std::byte> block,
                                               std::span<std::byte> into,
                                               const WhileWaiting& while_waiting) {
  const AskedRequest asked = Describe(queue, record);
  std::function<void(const AskedRequest&)> observer;
  {
    const std::lock_guard lock(mutex_);
    observer = observer_;
  }
  if (observer) observer(asked);
  while (while_waiting && HoldsUp(queue)) {
    if (!while_waiting()) return std::nullopt;
    std::this_thread::yield();
  }
  if (asked.IsCompletion() && holds_completions_) {
    HoldUntilCancelled(asked, while_waiting);
    refuses_uploads_ = true;
  }
  if (asked.major == MajorCode::kRestore && holds_restore_) {
    HoldUntilCancelled(asked, while_waiting);
    holds_restore_ = false;
    const std::lock_guard lock(mutex_);
    log_.push_back(asked);
    return std::nullopt;
  }
  const std::lock_guard lock(mutex_);
  log_.push_back(asked);
  if (loses_ && loses_(asked)) return std::nullopt;
  return Answer(asked, block, into);
}

void FakeWorker::HoldUntilCancelled(const AskedRequest& asked, const WhileWaiting& while_waiting) {
  const auto is_cancelled = [&] {
    const auto cancelled = Cancelled();
    return std::ranges::find(cancelled, asked.path) != cancelled.end();
  };
  while (!is_cancelled()) while_waiting();
}

ChannelReply FakeWorker::Answer(const AskedRequest& asked, std::span<const std::byte> block,
                                std::span<std::byte> into) {
  switch (asked.major) {
    case MajorCode::kDirectory:
      return AnswerWalk(asked);
    case MajorCode::kQueryInfo:
      return AnswerQuery(asked);
    case MajorCode::kRestore:
      return AnswerRestore(asked, into);
    case MajorCode::kBackup:
      return AnswerBackup(asked, block);
    case MajorCode::kDelete:
      return AnswerDelete(asked);
    case MajorCode::kRename:
      return AnswerRename(asked);
    default:
      return ReplyWith(IOCTL_VOLUME_REPLY, VolumeReply{.status = refuses_changes_ ? 101U : 100U,
                                                       .padding = 0,
                                                       .quota_mib = 2048,
                                                       .used_mib = 7,
                                                       .reserved = 0});
  }
}

// Index 1 loads the folder; the indices after it are served from what was loaded.
ChannelReply FakeWorker::AnswerWalk(const AskedRequest& asked) {
  DirectoryEntry entry;
  entry.directory_flag = kNoSuchEntry;
  entry.last_entry = 1;
  const Text folder = asked.path.size() == 1
                          ? asked.path
                          : Text(TextView(asked.path).substr(0, asked.path.size() - 1));
  if (asked.length == 1) {
    walk_ = {.folder = folder, .entries = {}};
    const auto node = nodes_.find(folder);
    if (!fails_walks_ && node != nodes_.end() && node->second.is_folder) {
      listings_[folder] = Fetch(folder);
      walk_.entries = {{u".", {true, 0, 0}}, {u"..", {true, 0, 0}}};
      for (const auto& listed : listings_[folder]) walk_.entries.push_back(listed);
    }
  }
  if (walk_.folder != folder) ++broken_walks_;
  if (walk_.folder == folder && asked.length <= walk_.entries.size()) {
    const auto& [name, listed] = walk_.entries[asked.length - 1];
    entry.directory_flag = listed.is_folder ? 1 : 0;
    entry.last_entry = 0;
    entry.kind = asked.length;
    entry.size = listed.size;
    entry.creation_time = listed.modified;
    entry.SetModified(listed.modified);
    entry.SetName(name);
  }
  return ReplyWith(IOCTL_DIRECTORY_REPLY, entry);
}

ChannelReply FakeWorker::AnswerQuery(const AskedRequest& asked) {
  DirectoryEntry entry;
  entry.directory_flag = kNoSuchEntry;
  entry.last_entry = 1;
  const Listing* listing = fails_queries_ ? nullptr : ListingOf(ParentOf(asked.path));
  const auto found = listing ? listing->find(LeafOf(asked.path)) : Listing::const_iterator();
  if (listing && found != listing->end()) {
    entry.directory_flag = found->second.is_folder ? 1 : 0;
    entry.kind = kSingleEntryKind;
    entry.size = found->second.size;
    entry.creation_time = found->second.modified;
    entry.SetModified(found->second.modified);
    entry.SetName(asked.path);
  }
  return ReplyWith(IOCTL_QUERY_INFO_REPLY, entry);
}

ChannelReply FakeWorker::AnswerRestore(const AskedRequest& asked, std::span<std::byte> into) {
  const auto failed = TransferAnswer(IOCTL_RESTORE_REPLY, 0, kTransferFailure);
  const auto node = nodes_.find(asked.path);
  const std::string* content = nullptr;
  if (!contents_.contains(asked.path)) {
    const bool direct = asked.offset == 0 && asked.length < kWholeFileRead;
    if (direct && node != nodes_.end() && !refuses_restores_) content = &node->second.content;
    if (!direct) Restore(asked.path);
  }
  const auto cached = contents_.find(asked.path);
  if (cached != contents_.end()) content = &cached->second.content;
  if (!content) return failed;
  if (asked.offset > static_cast<int64_t>(content->size())) {
    contents_.erase(asked.path);
    return failed;
  }
  const auto offset = static_cast<size_t>(asked.offset);
  const size_t length = std::min<size_t>(asked.length, content->size() - offset);
  ChannelReply reply =
      TransferAnswer(IOCTL_RESTORE_REPLY, static_cast<uint32_t>(length), kTransferSuccess);
  reply.data_size = std::min(length, into.size());
  std::memcpy(into.data(), content->data() + offset, reply.data_size);
  return reply;
}

ChannelReply FakeWorker::AnswerBackup(const AskedRequest& asked, std::span<const std::byte> block) {
  switch (asked.minor) {
    case MinorCode::kZeroBackup: {
      if (refuses_zero_files_ || refuses_uploads_) {
        unsent_.insert(asked.path);
        overdue_.insert(asked.path);
        return TransferAnswer(IOCTL_BACKUP_REPLY, 0, kTransferFailure);
      }
      PutOnServer(asked.path, false, {});
      unsent_.erase(asked.path);
      overdue_.erase(asked.path);
      Record(asked.path, {false, 0, now_});
      return TransferAnswer(IOCTL_BACKUP_REPLY, 0, kTransferSuccess);
    }
    case MinorCode::kCreateDirectory: {
      const bool has_parent = nodes_.contains(ParentOf(asked.path));
      if (refuses_changes_ || !has_parent) {
        return StatusReply(IOCTL_TRANSFER_STATUS_REPLY, kNamespaceFailure);
      }
      PutOnServer(asked.path, true, {});
      Record(asked.path, {true, 0, now_});
      return StatusReply(IOCTL_TRANSFER_STATUS_REPLY, kNamespaceSuccess);
    }
    case MinorCode::kCacheBackup:
      return AnswerBlock(asked, block);
    default:
      Upload(asked.path);
      return StatusReply(IOCTL_TRANSFER_STATUS_REPLY, 0);
  }
}

ChannelReply FakeWorker::AnswerBlock(const AskedRequest& asked, std::span<const std::byte> block) {
  if (latch_.exchange(false)) return TransferAnswer(IOCTL_BACKUP_REPLY, 0, kTransferFailure);
  const auto reply = TransferAnswer(IOCTL_BACKUP_REPLY, asked.length, kTransferSuccess);
  if (block.empty() && !asked.force) return reply;
  const bool fails = (fails_storing_ && fails_storing_(asked)) || failing_blocks_ > 0;
  if (fails) {
    if (failing_blocks_ > 0) --failing_blocks_;
    latch_ = true;
    return reply;
  }
  Cached& cached = contents_[asked.path];
  if (asked.force && asked.offset == 0) cached.content.clear();
  const auto offset = static_cast<size_t>(asked.offset);
  const size_t end = offset + block.size();
  if (!block.empty() && cached.content.size() < end) cached.content.resize(end, '\0');
  if (!block.empty()) cached.content.replace(offset, block.size(), BytesOf(block));
  cached.version = ++last_version_;
  return reply;
}

ChannelReply FakeWorker::AnswerDelete(const AskedRequest& asked) {
  Text path = asked.path;
  // As a sync account's folders are named.
  if (path.size() > 1 && path.ends_with(u'\\')) path.pop_back();
  const bool exists = nodes_.contains(path) || unsent_.contains(path);
  if (refuses_changes_ || !exists) return StatusReply(IOCTL_NAMESPACE_REPLY, kNamespaceFailure);
  Remove(path);
  return StatusReply(IOCTL_NAMESPACE_REPLY, kNamespaceSuccess);
}

uint32_t FakeWorker::RenameAll(const Text& from, const Text& to, bool replace) {
  const bool on_server = nodes_.contains(from);
  if (refuses_changes_ || (!on_server && !unsent_.contains(from))) return kNamespaceFailure;
  if (!nodes_.contains(ParentOf(to))) return kNamespaceFailure;
  if (fails_moves_) return kNamespaceSuccess;
  if (on_server && nodes_.contains(to)) {
    if (!replace) return kNamespaceTargetExists;
    Remove(to);
  }
  const Listing* old_listing = ListingOf(ParentOf(from));
  const Listed entry = old_listing->contains(LeafOf(from)) ? old_listing->at(LeafOf(from))
                                                           : Listed{nodes_[from].is_folder, 0, 0};
  const auto move_all = [&](auto& map) {
    std::vector<std::pair<Text, typename std::decay_t<decltype(map)>::mapped_type>> moved;
    for (auto& [path, value] : map) {
      if (IsWithin(path, from)) moved.emplace_back(to + path.substr(from.size()), std::move(value));
    }
    std::erase_if(map, [&](const auto& item) { return IsWithin(item.first, from); });
    for (auto& [path, value] : moved) map[path] = std::move(value);
  };
  // Whatever the cache has of the target is another file's.
  std::erase_if(contents_, [&](const auto& stale) { return IsWithin(stale.first, to); });
  for (auto* set : {&unsent_, &overdue_}) {
    std::erase_if(*set, [&](const Text& stale) { return IsWithin(stale, to); });
  }
  move_all(nodes_);
  move_all(contents_);
  move_all(listings_);
  for (auto* set : {&unsent_, &overdue_}) {
    std::set<Text> renamed;
    for (const Text& path : *set) {
      renamed.insert(IsWithin(path, from) ? to + path.substr(from.size()) : path);
    }
    *set = std::move(renamed);
  }
  Unrecord(from);
  Record(to, entry);
  return kNamespaceSuccess;
}

ChannelReply FakeWorker::AnswerRename(const AskedRequest& asked) {
  const Text to = asked.second_path.substr(std::min<size_t>(6, asked.second_path.size()));
  const uint32_t status = RenameAll(asked.path, to, asked.minor == MinorCode::kReplaceOnRename);
  // A folder has no content: all that comes of it is that its record goes.
  if (status == kNamespaceSuccess && IsTempFileRename(asked.path, to)) Upload(to);
  return StatusReply(IOCTL_NAMESPACE_REPLY, status);
}

// --- the host

void FakeWorker::CheckLastModified(TextView path) {
  const std::lock_guard lock(mutex_);
  checked_.emplace_back(path);
  const Text key(path);
  if (unsent_.contains(key)) return;
  const auto node = nodes_.find(key);
  const auto cached = contents_.find(key);
  const bool is_current = cached != contents_.end() && node != nodes_.end() &&
                          cached->second.server_version == node->second.version;
  if (is_current) return;
  if (cached != contents_.end()) contents_.erase(cached);
  if (node == nodes_.end()) return;
  const auto size = static_cast<int64_t>(node->second.content.size());
  Record(key, {node->second.is_folder, SizeOf(key, size), node->second.modified});
}

uint64_t FakeWorker::ContentVersion(TextView path) {
  const std::lock_guard lock(mutex_);
  const auto found = contents_.find(Text(path));
  return found == contents_.end() ? 0 : found->second.version;
}

void FakeWorker::ChangeCached(TextView path, std::string_view content) {
  const std::lock_guard lock(mutex_);
  Cached& cached = contents_.at(Text(path));
  cached.content = content;
  cached.version = ++last_version_;
}

void FakeWorker::MarkSent(TextView path) {
  const std::lock_guard lock(mutex_);
  unsent_.erase(Text(path));
}

Text FakeWorker::ContentFile(TextView path) {
  const uint64_t version = ContentVersion(path);
  return version == 0 ? Text() : Format(u"%s#%I64u", path, version);
}

void FakeWorker::DropContent(TextView path) {
  const std::lock_guard lock(mutex_);
  contents_.erase(Text(path));
}

void FakeWorker::PretendContentTime(Seconds1601 time) {
  const std::lock_guard lock(mutex_);
  content_time_ = time;
}

std::optional<Seconds1601> FakeWorker::ContentTime(TextView) {
  const std::lock_guard lock(mutex_);
  return content_time_;
}

void FakeWorker::CancelTransfer(TextView path) {
  const std::lock_guard lock(mutex_);
  cancelled_.emplace_back(path);
}

bool FakeWorker::MarkUnsent(TextView path) {
  if (refuses_notes_) return false;
  const std::lock_guard lock(mutex_);
  unsent_.emplace(path);
  return true;
}

bool FakeWorker::IsUnsent(TextView path) {
  const std::lock_guard lock(mutex_);
  return unsent_.contains(Text(path));
}

bool FakeWorker::IsOverdue(TextView path) {
  const std::lock_guard lock(mutex_);
  return overdue_.contains(Text(path));
}

}  // namespace zv::testing
