// The account's settings as a person gives and sees them; written in the forms that the worker
// reads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/text.h"

namespace zv {

// What `account set` changes; what is missing stays as it is.
struct AccountChanges {
  std::optional<Text> server;  // host name or address
  std::optional<Text> user;
  std::optional<Text> password;
  std::optional<bool> ssl;
  std::optional<Text> proxy;  // "host:port"; empty: none
  std::optional<Text> proxy_user;
  std::optional<Text> proxy_password;
  std::optional<bool> relay;
  std::optional<int64_t> quota;  // bytes
  std::optional<bool> cache;
  std::optional<bool> sync;
  std::optional<Text> drive_letter;      // "Z:"
  std::optional<Text> application_path;  // folder that holds the cache

  bool operator==(const AccountChanges&) const = default;
};

// Writes the changes; empty, or what is wrong with them in words for a person, with nothing
// written. Throws CommandError when a setting cannot be written: those before it stay.
std::string SetAccount(const AccountChanges& changes);

struct Account {
  Text server;
  Text user;
  Text password;
  Text drive_letter;
  Text remote_name;
  bool is_sync = false;
  // Whether there is enough to sign on with.
  bool is_complete() const { return !server.empty() && !user.empty(); }
};
Account ReadAccount();

// A table of what is set, without any secret.
std::string DescribeAccount();

}  // namespace zv
