// The client for the account that a call names.
#pragma once

#include <cstdint>
#include <optional>

#include "upload/backup_dav.h"

namespace zv {

// What the library's callers pass and it needs. The application server, the key setting and the key
// type are taken and not used: contents are stored as they are.
struct SyncLogin {
  Text user;
  Text password;    // in clear
  Text web_server;  // host name or address
};

// One call's client; one thread. Server, user and password are the call's own; TLS, the proxy and
// the relay are the settings'.
class AccountClient : public CBackupDAV {
 public:
  explicit AccountClient(const SyncLogin& login);

  // Used bytes of the account: from the last listing, or asked for now. nullopt when the server
  // does not say.
  std::optional<int64_t> ListedUsedBytes() const;
  std::optional<int64_t> AskUsedBytes();
};

}  // namespace zv
