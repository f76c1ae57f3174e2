#include "driver/drive_device.h"

#include <algorithm>

#include "config/settings.h"
#include "platform/clock.h"
#include "platform/format.h"

namespace zv {
namespace {

constexpr uint32_t kReopenPauseMs = 1000;

void Fetch(const Device& drive, uint32_t code, RequestRecord& record) {
  record.major = static_cast<uint32_t>(MajorCode::kNone);
  drive.Control(code, &record, sizeof record, &record, sizeof record);
}

template <typename Record>
void Send(const Device& drive, uint32_t code, const Record& record) {
  drive.Control(code, &record, sizeof record, nullptr, 0);
}

}  // namespace

DosDeviceName MakeDosDeviceName(TextView local_name) {
  const Text text = Format(u"\\DosDevices\\%s", local_name);
  DosDeviceName name{};
  std::copy_n(text.begin(), std::min(text.size(), name.size()), name.begin());
  return name;
}

Text DriveDeviceName(TextView local_name) { return Format(u"\\\\.\\%s", local_name); }

Text GetLocalName() { return ReadSetting(kConnectionParameters, u"Local Name"); }

Device OpenDriveDevice(CLogEvent& poll_log) {
  while (true) {
    if (auto drive =
            Device::Open(DriveDeviceName(GetLocalName()), DeviceDisposition::kOpenExisting)) {
      poll_log.WriteTraceText(u"Drive handle created");
      return std::move(*drive);
    }
    SleepMs(kReopenPauseMs);
  }
}

bool CreateDriveThroughDriver(const Device& control, TextView local_name) {
  const DosDeviceName name = MakeDosDeviceName(local_name);
  std::array<char, kCreateDriveOutputBytes> unread;
  return control.Control(IOCTL_CREATE_DRIVE, name.data(), sizeof name, unread.data(),
                         sizeof unread);
}

bool DeleteDriveThroughDriver(const Device& drive, TextView local_name) {
  const DosDeviceName name = MakeDosDeviceName(local_name);
  return drive.Control(IOCTL_DELETE_DRIVE, name.data(), sizeof name, nullptr, 0);
}

void GetInfoRequest(const Device& drive, RequestRecord& record) {
  Fetch(drive, IOCTL_GET_INFO_REQUEST, record);
}

void GetTransferRequest(const Device& drive, RequestRecord& record) {
  Fetch(drive, IOCTL_GET_TRANSFER_REQUEST, record);
}

void SendQueryInfoReply(const Device& drive, const DirectoryEntry& reply) {
  Send(drive, IOCTL_QUERY_INFO_REPLY, reply);
}

void SendDirectoryReply(const Device& drive, const DirectoryEntry& reply) {
  Send(drive, IOCTL_DIRECTORY_REPLY, reply);
}

void SendNamespaceReply(const Device& drive, StatusWord status) {
  Send(drive, IOCTL_NAMESPACE_REPLY, status);
}

void SendTransferStatusReply(const Device& drive, StatusWord status) {
  Send(drive, IOCTL_TRANSFER_STATUS_REPLY, status);
}

void SendRestoreReply(const Device& drive, const TransferReply& reply) {
  Send(drive, IOCTL_RESTORE_REPLY, reply);
}

void SendVolumeReply(const Device& drive, const VolumeReply& reply) {
  Send(drive, IOCTL_VOLUME_REPLY, reply);
}

bool ExchangeBackupReply(const Device& drive, TransferReply& reply) {
  return drive.Control(IOCTL_BACKUP_REPLY, &reply, sizeof reply, &reply, sizeof reply);
}

}  // namespace zv
