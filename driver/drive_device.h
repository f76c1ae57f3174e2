// The driver's devices and every call that goes to them: drives are created and deleted, requests
// fetched, replies sent. A Device is used by one thread at a time; nothing here keeps state.
//
// No call's outcome is looked at unless it returns one: a reply that the driver refuses is lost.
#pragma once

#include <array>

#include "config/log.h"
#include "driver/protocol.h"
#include "platform/device.h"
#include "platform/text.h"

namespace zv {

// "\DosDevices\" + local name, cut at the field, zero-padded: the input of creating and deleting.
using DosDeviceName = std::array<char16_t, kDosDeviceNameBytes / sizeof(char16_t)>;
static_assert(sizeof(DosDeviceName) == kDosDeviceNameBytes);
DosDeviceName MakeDosDeviceName(TextView local_name);

// "\\.\" + local name.
Text DriveDeviceName(TextView local_name);

// The drive's local name from the settings ("Y:"); empty when it cannot be read.
Text GetLocalName();

// Opens the drive device, trying again every 1000 ms without limit; the local name is read anew for
// every try. Writes "Drive handle created" when it is open, and nothing before.
Device OpenDriveDevice(CLogEvent& poll_log);

// False when the driver refuses.
bool CreateDriveThroughDriver(const Device& control, TextView local_name);
bool DeleteDriveThroughDriver(const Device& drive, TextView local_name);

// Each blocks until the driver has a request of that queue. A fetch that fails leaves the major
// code at 0.
void GetInfoRequest(const Device& drive, RequestRecord& record);
void GetTransferRequest(const Device& drive, RequestRecord& record);

void SendQueryInfoReply(const Device& drive, const DirectoryEntry& reply);
void SendDirectoryReply(const Device& drive, const DirectoryEntry& reply);
void SendNamespaceReply(const Device& drive, StatusWord status);
void SendTransferStatusReply(const Device& drive, StatusWord status);
void SendRestoreReply(const Device& drive, const TransferReply& reply);
void SendVolumeReply(const Device& drive, const VolumeReply& reply);
// Sends, and takes the driver's answer into the same record: the driver fills the buffer that the
// record points to and writes back how many bytes it supplied. False: it took no reply.
bool ExchangeBackupReply(const Device& drive, TransferReply& reply);

}  // namespace zv
