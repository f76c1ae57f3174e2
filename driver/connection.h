// Creating, removing and describing the network drive, in the platform's network-provider
// conventions.
#pragma once

#include <cstdint>

#include "platform/text.h"

namespace zv {

inline constexpr uint32_t kDriveSuccess = 0;
inline constexpr uint32_t kDriveGeneralFailure = 31;
inline constexpr uint32_t kDriveBadNetName = 67;
inline constexpr uint32_t kDriveNoNetwork = 1222;
inline constexpr uint32_t kDriveNoDriver = 9999;

// Stateless; everything that stays is in the settings. Any thread; nothing throws.
class CConnection {
 public:
  virtual ~CConnection() = default;

  // kDriveSuccess, kDriveBadNetName, kDriveNoDriver or the HTTP status of a failed login.
  // local_name: a drive letter and a colon.
  uint32_t CreateDrive(TextView local_name, TextView remote_name, TextView password,
                       TextView user_name);
  uint32_t DeleteDrive(TextView local_name);
  // buffer (may be null) receives "\\server\share", at most length units with the terminator.
  uint32_t GetConnection(TextView local_name, char16_t* buffer, uint32_t* length);
};

}  // namespace zv
