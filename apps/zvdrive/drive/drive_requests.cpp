#include "apps/zvdrive/drive/drive_requests.h"

#include <cstring>

#include "apps/zvdrive/drive/drive_path.h"

namespace zv {
namespace {

constexpr int kBlockAttempts = 3;

RequestRecord MakeRecord(MajorCode major, MinorCode minor, TextView path) {
  RequestRecord record;
  record.major = static_cast<uint32_t>(major);
  record.minor = static_cast<uint32_t>(minor);
  record.SetPath(path);
  return record;
}

template <typename Reply>
std::optional<Reply> ReplyOf(const std::optional<ChannelReply>& reply, uint32_t code) {
  if (!reply || reply->code != code || reply->record_size < sizeof(Reply)) return std::nullopt;
  Reply result;
  std::memcpy(static_cast<void*>(&result), reply->record.data(), sizeof(Reply));
  return result;
}

NodeInfo InfoOf(const DirectoryEntry& entry) {
  return {.is_folder = entry.directory_flag == 1,
          .size = entry.size,
          .created = {entry.creation_time},
          .modified = {entry.last_write_time}};
}

}  // namespace

PatientLock DriveRequests::TakeTurn(const WhileWaiting& while_waiting) {
  return one_at_a_time_ ? LockWhile(turn_mutex_, while_waiting) : PatientLock();
}

std::optional<ChannelReply> DriveRequests::Submit(DriveQueue queue, const RequestRecord& record,
                                                  std::span<std::byte> into,
                                                  const WhileWaiting& while_waiting) {
  const auto turn = TakeTurn(while_waiting);
  if (one_at_a_time_ && !turn) return std::nullopt;
  return channel_.Submit(queue, record, {}, into, while_waiting);
}

DriveResult<std::vector<NamedNode>> DriveRequests::Walk(TextView folder, const NodeSink& sink) {
  std::vector<NamedNode> nodes;
  bool saw_itself = false;
  bool is_whole = false;
  // The folder's path ends in a separator, as a walk's does.
  RequestRecord first =
      MakeRecord(MajorCode::kDirectory, MinorCode::kNone, JoinPath(folder, TextView()));
  first.length_or_index = 1;
  const auto next = [&](const ChannelReply& answer, RequestRecord& record) {
    const auto reply = ReplyOf<DirectoryEntry>(answer, IOCTL_DIRECTORY_REPLY);
    if (!reply) return false;
    is_whole = reply->last_entry == 1 || reply->directory_flag == kNoSuchEntry;
    if (is_whole) return false;
    const TextView name = reply->Name();
    if (name == u".") {
      saw_itself = true;
    } else if (name != u"..") {
      nodes.push_back({Text(name), InfoOf(*reply)});
      if (sink) sink(nodes.back());
    }
    ++record.length_or_index;
    return true;
  };
  const auto turn = TakeTurn();
  const auto row = channel_.BeginRow(DriveQueue::kInfo, first, {}, next, RowOrder::kAmongOthers);
  if (!row->Wait() || !is_whole || !saw_itself) return DriveError::kIo;
  return nodes;
}

std::optional<NodeInfo> DriveRequests::QueryInfo(TextView path) {
  const RequestRecord record = MakeRecord(MajorCode::kQueryInfo, MinorCode::kNone, path);
  const auto reply =
      ReplyOf<DirectoryEntry>(Submit(DriveQueue::kInfo, record, {}, {}), IOCTL_QUERY_INFO_REPLY);
  if (!reply || reply->directory_flag == kNoSuchEntry) return std::nullopt;
  return InfoOf(*reply);
}

DriveResult<VolumeSize> DriveRequests::Volume() {
  const RequestRecord record = MakeRecord(MajorCode::kVolumeInfo, MinorCode::kNone, kDriveRoot);
  const auto reply =
      ReplyOf<VolumeReply>(Submit(DriveQueue::kInfo, record, {}, {}), IOCTL_VOLUME_REPLY);
  if (!reply || reply->status != kNamespaceSuccess) return DriveError::kIo;
  return VolumeSize{.quota_mib = reply->quota_mib, .used_mib = reply->used_mib};
}

DriveResult<size_t> DriveRequests::Read(TextView path, int64_t offset, std::span<std::byte> into,
                                        const WhileWaiting& while_waiting) {
  RequestRecord record = MakeRecord(MajorCode::kRestore, MinorCode::kNone, path);
  record.length_or_index = static_cast<uint32_t>(into.size());
  record.offset = offset;
  const auto answer = Submit(DriveQueue::kTransfer, record, into, while_waiting);
  const auto reply = ReplyOf<TransferReply>(answer, IOCTL_RESTORE_REPLY);
  if (!reply || reply->status != kTransferSuccess) return DriveError::kIo;
  return answer->data_size;
}

// A block is acknowledged before it is stored; an empty block right after it brings the truth,
// since the worker refuses the step that follows a failure, of whatever file. The block itself may
// also meet the failure of an earlier one, which nobody waits for any more.
class DriveRequests::Block final : public BlockWrite {
 public:
  Block(DriveRequests& requests, TextView path, int64_t offset, const HandedBlock& block,
        bool begin)
      : requests_(requests), record_(BlockRecord(path)), block_(block) {
    record_.length_or_index = static_cast<uint32_t>(block.bytes.size());
    record_.offset = offset;
    record_.force_store = begin ? 1 : 0;
  }

  void Begin() {
    has_acknowledged_ = false;
    is_stored_ = false;
    const auto next = [this](const ChannelReply& reply, RequestRecord& record) {
      return TakeReply(reply, record);
    };
    const auto turn = requests_.TakeTurn();
    row_ = requests_.channel_.BeginRow(DriveQueue::kTransfer, record_, block_, next,
                                       RowOrder::kUnbroken);
    if (turn) row_->Wait();
  }

  DriveError Wait(const WhileWaiting& while_waiting) override {
    for (int attempt = 1;; ++attempt) {
      if (while_waiting && !row_->WaitWhile(while_waiting)) return DriveError::kInterrupted;
      if (!row_->Wait() || is_stored_ || attempt == kBlockAttempts) break;
      Begin();
    }
    return is_stored_ ? DriveError::kNone : DriveError::kIo;
  }

 private:
  static RequestRecord BlockRecord(TextView path) {
    return MakeRecord(MajorCode::kBackup, MinorCode::kCacheBackup, path);
  }

  bool TakeReply(const ChannelReply& answer, RequestRecord& record) {
    const auto reply = ReplyOf<TransferReply>(answer, IOCTL_BACKUP_REPLY);
    if (!reply || reply->status != kTransferSuccess) return false;
    is_stored_ = has_acknowledged_;
    if (has_acknowledged_) return false;
    has_acknowledged_ = true;
    record = BlockRecord(record.Path());
    return true;
  }

  DriveRequests& requests_;
  RequestRecord record_;
  const HandedBlock block_;
  // What the replies told; the row's until it has ended.
  bool has_acknowledged_ = false;
  bool is_stored_ = false;
  std::unique_ptr<RequestRow> row_;  // goes first: it works on the others
};

std::unique_ptr<BlockWrite> DriveRequests::BeginWrite(TextView path, int64_t offset,
                                                      const HandedBlock& block, bool begin) {
  auto write = std::make_unique<Block>(*this, path, offset, block, begin);
  write->Begin();
  return write;
}

DriveError DriveRequests::Write(TextView path, int64_t offset, std::span<const std::byte> block,
                                bool begin, const WhileWaiting& while_waiting) {
  return BeginWrite(path, offset, {.bytes = block, .keeper = {}}, begin)->Wait(while_waiting);
}

DriveError DriveRequests::WriteEmptyFile(TextView path, TextView process,
                                         const WhileWaiting& while_waiting) {
  RequestRecord record = MakeRecord(MajorCode::kBackup, MinorCode::kZeroBackup, path);
  record.SetProcessName(process);
  const auto reply = ReplyOf<TransferReply>(
      Submit(DriveQueue::kTransfer, record, {}, while_waiting), IOCTL_BACKUP_REPLY);
  return reply && reply->status == kTransferSuccess ? DriveError::kNone : DriveError::kIo;
}

DriveError DriveRequests::Complete(TextView path, TextView process,
                                   const WhileWaiting& while_waiting) {
  RequestRecord record = MakeRecord(MajorCode::kBackup, MinorCode::kBackupComplete, path);
  record.SetProcessName(process);
  const auto reply = ReplyOf<StatusWord>(Submit(DriveQueue::kTransfer, record, {}, while_waiting),
                                         IOCTL_TRANSFER_STATUS_REPLY);
  return reply ? DriveError::kNone : DriveError::kIo;
}

std::optional<StatusWord> DriveRequests::SubmitForStatus(DriveQueue queue,
                                                         const RequestRecord& record,
                                                         const WhileWaiting& while_waiting) {
  const uint32_t code =
      queue == DriveQueue::kInfo ? IOCTL_NAMESPACE_REPLY : IOCTL_TRANSFER_STATUS_REPLY;
  return ReplyOf<StatusWord>(Submit(queue, record, {}, while_waiting), code);
}

DriveError DriveRequests::MakeFolder(TextView path, const WhileWaiting& while_waiting) {
  const auto status = SubmitForStatus(
      DriveQueue::kTransfer, MakeRecord(MajorCode::kBackup, MinorCode::kCreateDirectory, path),
      while_waiting);
  return status == kNamespaceSuccess ? DriveError::kNone : DriveError::kIo;
}

DriveError DriveRequests::Delete(TextView path, TextView process) {
  RequestRecord record = MakeRecord(MajorCode::kDelete, MinorCode::kNone, path);
  record.SetProcessName(process);
  const auto status = SubmitForStatus(DriveQueue::kInfo, record);
  return status == kNamespaceSuccess ? DriveError::kNone : DriveError::kIo;
}

DriveError DriveRequests::Rename(TextView from, TextView to, bool replace, TextView drive_letter,
                                 TextView process) {
  RequestRecord record = MakeRecord(MajorCode::kRename,
                                    replace ? MinorCode::kReplaceOnRename : MinorCode::kNone, from);
  record.SetSecondPath(Text(u"\\??\\").append(drive_letter).append(to));
  record.SetProcessName(process);
  const auto status = SubmitForStatus(DriveQueue::kInfo, record);
  if (status == kNamespaceSuccess) return DriveError::kNone;
  return status == kNamespaceTargetExists ? DriveError::kExists : DriveError::kIo;
}

}  // namespace zv
