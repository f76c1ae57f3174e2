#include "driver/connection.h"

#include <algorithm>

#include "config/guard.h"
#include "config/secrets.h"
#include "config/settings.h"
#include "driver/debug_trace.h"
#include "driver/drive_device.h"
#include "platform/debug_output.h"
#include "platform/format.h"
#include "platform/shell.h"
#include "webdav/http_status.h"
#include "webdav/webdav.h"

namespace zv {
namespace {

constexpr uint32_t kDeviceArrival = 0x8000;
constexpr TextView kNoHandle = u"Driver handle invalid\n";

bool SaveConnectionSettings(TextView local_name, TextView user_name, TextView stored_password) {
  return WriteRegistryString(kConnectionParameters, u"UserName", user_name) &&
         WriteRegistryString(kConnectionParameters, u"Password", stored_password) &&
         WriteRegistryString(kConnectionParameters, u"Local Name", local_name);
}

uint32_t AskDriverForDrive(TextView local_name) {
  auto control = Device::Open(kControlDeviceName, DeviceDisposition::kCreateAlways);
  if (!control) {
    WriteDebugOutput(kNoHandle);
    return kDriveNoDriver;
  }
  if (!CreateDriveThroughDriver(*control, local_name)) {
    WriteDebugOutput(u"Error creating the drive from fsd");
    return kDriveBadNetName;
  }
  // Stays open for the life of the process, as the drive does.
  control->Leak();
  // The drive is there, whoever hears of it.
  GuardedQuietly([&] {
    BroadcastVolumeChange(kDeviceArrival, local_name.empty() ? u'\0' : local_name.front());
  });
  return kDriveSuccess;
}

uint32_t CreateDriveSteps(TextView local_name, TextView remote_name, TextView password,
                          TextView user_name) {
  CWebDAV server;
  DebugTrace(u"Entered CConnection::CreateDrive\n");
  if (!EqualsNoCase(remote_name, ReadRemoteName())) return kDriveBadNetName;
  if (user_name.empty() || EqualsNoCase(user_name, u"(null)")) {
    WriteDebugOutput(u"Username string is blank\n");
    return kDriveBadNetName;
  }
  const uint32_t login = server.LoginToServer(user_name, password);
  if (login == 0) return kDriveBadNetName;
  if (login != kStatusOk) return login;
  const Text secret = ShiftSecret(Format(u"%s:%s", password, user_name));
  if (!SaveConnectionSettings(local_name, user_name, secret)) return kDriveBadNetName;
  return AskDriverForDrive(local_name);
}

// As much as fits with its terminator; a length that was too small is replaced by what is needed.
void CopyBounded(TextView text, char16_t* buffer, uint32_t* length) {
  if (!length || *length == 0) return;
  const size_t count = std::min<size_t>(text.size(), *length - 1);
  *std::copy_n(text.begin(), count, buffer) = u'\0';
  if (count < text.size()) *length = static_cast<uint32_t>(text.size()) + 1;
}

uint32_t GetConnectionSteps(TextView local_name, char16_t* buffer, uint32_t* length) {
  Text stored;
  if (!ReadRegistryString(kConnectionParameters, u"Local Name", &stored)) return kDriveNoNetwork;
  if (ToLower(stored.substr(0, 1)) != ToLower(local_name.substr(0, 1))) return kDriveNoNetwork;
  if (!Device::Open(DriveDeviceName(local_name), DeviceDisposition::kOpenExisting)) {
    return kDriveNoNetwork;
  }
  if (buffer) {
    const Text server = ReadSettingOrThrow(kConnectionParameters, u"UNC Server");
    const Text share = ReadSettingOrThrow(kConnectionParameters, u"UNC Share");
    CopyBounded(Format(u"\\\\%s\\%s", server, share), buffer, length);
  }
  return kDriveSuccess;
}

}  // namespace

uint32_t CConnection::CreateDrive(TextView local_name, TextView remote_name, TextView password,
                                  TextView user_name) {
  return GuardedQuietly(kDriveBadNetName, [&] {
    return CreateDriveSteps(local_name, remote_name, password, user_name);
  });
}

uint32_t CConnection::DeleteDrive(TextView local_name) {
  return GuardedQuietly(kDriveGeneralFailure, [&] {
    const auto drive = Device::Open(DriveDeviceName(local_name), DeviceDisposition::kOpenExisting);
    if (!drive) {
      WriteDebugOutput(kNoHandle);
      return kDriveGeneralFailure;
    }
    return DeleteDriveThroughDriver(*drive, local_name) ? kDriveSuccess : kDriveGeneralFailure;
  });
}

uint32_t CConnection::GetConnection(TextView local_name, char16_t* buffer, uint32_t* length) {
  return Guarded(
      kDriveNoNetwork, [&] { return GetConnectionSteps(local_name, buffer, length); },
      [](const Failure&) { WriteDebugOutput(u"Exception in CConnection::GetConnection\n"); });
}

}  // namespace zv
