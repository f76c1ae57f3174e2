// What the worker and the file-system driver exchange: control codes and records. Little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/text.h"
#include "webdav/directory_entry.h"

namespace zv {

inline constexpr TextView kControlDeviceName = u"\\\\.\\ZVfs";
inline constexpr size_t kDosDeviceNameBytes = 520;  // 260 units, zero-padded
inline constexpr size_t kCreateDriveOutputBytes = 255;

inline constexpr uint32_t IOCTL_CREATE_DRIVE = 0x00282008;
inline constexpr uint32_t IOCTL_GET_INFO_REQUEST = 0x0028200C;
inline constexpr uint32_t IOCTL_QUERY_INFO_REPLY = 0x00282010;
inline constexpr uint32_t IOCTL_DIRECTORY_REPLY = 0x00282014;
inline constexpr uint32_t IOCTL_NAMESPACE_REPLY = 0x00282018;
inline constexpr uint32_t IOCTL_BACKUP_REPLY = 0x0028201C;
inline constexpr uint32_t IOCTL_RESTORE_REPLY = 0x00282020;
inline constexpr uint32_t IOCTL_VOLUME_REPLY = 0x00282024;
inline constexpr uint32_t IOCTL_GET_TRANSFER_REQUEST = 0x00282FAC;
inline constexpr uint32_t IOCTL_TRANSFER_STATUS_REPLY = 0x00282FB8;
inline constexpr uint32_t IOCTL_DELETE_DRIVE = 0x00283E80;

// Device type 0x28, any access, buffered method: only the function number differs.
constexpr uint32_t DriverControlCode(uint32_t function) { return 0x28U << 16 | function << 2; }
static_assert(IOCTL_CREATE_DRIVE == DriverControlCode(0x802));
static_assert(IOCTL_GET_INFO_REQUEST == DriverControlCode(0x803));
static_assert(IOCTL_QUERY_INFO_REPLY == DriverControlCode(0x804));
static_assert(IOCTL_DIRECTORY_REPLY == DriverControlCode(0x805));
static_assert(IOCTL_NAMESPACE_REPLY == DriverControlCode(0x806));
static_assert(IOCTL_BACKUP_REPLY == DriverControlCode(0x807));
static_assert(IOCTL_RESTORE_REPLY == DriverControlCode(0x808));
static_assert(IOCTL_VOLUME_REPLY == DriverControlCode(0x809));
static_assert(IOCTL_GET_TRANSFER_REQUEST == DriverControlCode(0xBEB));
static_assert(IOCTL_TRANSFER_STATUS_REPLY == DriverControlCode(0xBEE));
static_assert(IOCTL_DELETE_DRIVE == DriverControlCode(0xFA0));

enum class MajorCode : uint32_t {
  kNone = 0,  // a fetch that returned nothing
  kDirectory = 1,
  kQueryInfo = 2,
  kBackup = 3,
  kRestore = 4,
  kDelete = 5,
  kRename = 6,
  kVolumeInfo = 7,
  kEndPolling = 0xFFFFFFFF,
};

enum class MinorCode : uint32_t {
  kNone = 0,
  kZeroBackup = 31,
  kCreateDirectory = 32,
  kCacheBackup = 33,
  kBackupComplete = 34,
  kReplaceOnRename = 61,
};

inline constexpr size_t kPathUnits = 260;  // with the terminator
inline constexpr size_t kProcessNameUnits = 16;

// Filled by the driver, 1112 bytes.
struct RequestRecord {
  uint32_t major = 0;
  uint32_t minor = 0;
  uint32_t length_or_index = 0;  // bytes of a transfer step, or the one-based index of an entry
  uint32_t reserved = 0;
  uint64_t reserved64 = 0;
  int64_t offset = 0;  // bytes, of a transfer step
  char16_t path[kPathUnits] = {};
  char16_t second_path[kPathUnits] = {};
  char16_t process_name[kProcessNameUnits] = {};
  uint8_t force_store = 0;
  uint8_t padding[7] = {};

  // Each up to its terminator, or to the end of its field when the driver gave none.
  TextView Path() const;
  TextView SecondPath() const;
  TextView ProcessName() const;
  // Cut at the field's size less one, terminated.
  void SetPath(TextView text);
  void SetSecondPath(TextView text);
  void SetProcessName(TextView text);
};
static_assert(sizeof(RequestRecord) == 1112);
static_assert(offsetof(RequestRecord, major) == 0);
static_assert(offsetof(RequestRecord, minor) == 4);
static_assert(offsetof(RequestRecord, length_or_index) == 8);
static_assert(offsetof(RequestRecord, reserved64) == 16);
static_assert(offsetof(RequestRecord, offset) == 24);
static_assert(offsetof(RequestRecord, path) == 32);
static_assert(offsetof(RequestRecord, second_path) == 552);
static_assert(offsetof(RequestRecord, process_name) == 1072);
static_assert(offsetof(RequestRecord, force_store) == 1104);

// Answer to a restore or backup step, 16 bytes.
struct TransferReply {
  uint32_t length = 0;  // bytes
  uint32_t status = 0;  // kTransfer...
  // Address in the worker's own space. A driver in the worker's process may answer a backup with
  // that of its own copy of the block, which stays as it is until the next fetch.
  uint64_t buffer = 0;
};
static_assert(sizeof(TransferReply) == 16);
static_assert(offsetof(TransferReply, status) == 4);
static_assert(offsetof(TransferReply, buffer) == 8);

inline constexpr uint32_t kTransferSuccess = 0;
inline constexpr uint32_t kTransferFailure = 1;
inline constexpr uint32_t kTransferNoMemory = 2;

// Answer to a volume request, 32 bytes.
struct VolumeReply {
  uint32_t status = 0;  // kNamespaceSuccess or kNamespaceFailure
  uint32_t padding = 0;
  int64_t quota_mib = 0;
  int64_t used_mib = 0;
  uint64_t reserved = 0;
};
static_assert(sizeof(VolumeReply) == 32);
static_assert(offsetof(VolumeReply, quota_mib) == 8);
static_assert(offsetof(VolumeReply, used_mib) == 16);

using StatusWord = uint32_t;
inline constexpr StatusWord kNamespaceSuccess = 100;
inline constexpr StatusWord kNamespaceFailure = 101;
inline constexpr StatusWord kNamespaceTargetExists = 102;

}  // namespace zv
