// The registry: keys under the current user, typed raw values, the per-user look-up, and the
// profile (ini) text. On Linux: one SQLite store, <home>/registry.db, that several processes use at
// once; key and value names are case-blind there, too. Any thread, also at once; a RegistryKey
// belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/text.h"

namespace zv {

inline constexpr uint32_t kRegSz = 1;
inline constexpr uint32_t kRegExpandSz = 2;
inline constexpr uint32_t kRegBinary = 3;
inline constexpr uint32_t kRegDword = 4;

struct RegistryValue {
  uint32_t type = 0;
  std::string data;  // raw bytes; texts are UTF-16LE with their terminator
};

enum class KeyMode {
  kOpen,          // full access; fails when missing
  kOpenOrCreate,  // read and write access; makes the key with its parents
};

class RegistryKey {
 public:
  RegistryKey(RegistryKey&&) noexcept;
  RegistryKey& operator=(RegistryKey&&) noexcept;
  ~RegistryKey();

  // A key under the current user, for example u"Software\\Maker\\Product"; nullopt with
  // LastError().
  static std::optional<RegistryKey> Open(TextView path, KeyMode mode);

  // nullopt when the value is missing or its data is longer than max_bytes.
  std::optional<RegistryValue> Read(TextView name, size_t max_bytes) const;
  bool Write(TextView name, uint32_t type, std::string_view data);

 private:
  struct Impl;
  explicit RegistryKey(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

// The text of a value looked up in the user's hive first, then in the machine's; nullopt when it is
// in neither, is no text or (with its terminator) is longer than max_bytes.
std::optional<Text> ReadPerUserText(TextView path, TextView name, size_t max_bytes);

// An entry of an initialisation file ("[section]", "key=value"; names case-blind; UTF-16LE with
// byte-order mark, or 8-bit text), cut at max_chars - 1 units; empty when the file, section or key
// is missing.
Text ReadProfileText(TextView file, TextView section, TextView key, size_t max_chars);

}  // namespace zv
