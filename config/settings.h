// The settings: text values under the product's key in the current user's registry. Any thread; no
// state between calls; nothing throws unless said so.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/text.h"

namespace zv {

class RegistryKey;

inline constexpr TextView kProductKey = u"Software\\Orve-Lan\\Cirrux";
inline constexpr TextView kConnectionParameters = u"\\Connection Parameters";
inline constexpr TextView kSettingsKey = u"\\Settings";
inline constexpr TextView kApplicationKey = u"\\Application";

inline constexpr size_t kSettingBufferBytes = 1020;

// Reads a text value of the product key + sub_key (a key path is cut at 254 units). True when it
// exists, is of a text type and fits 1020 bytes with its terminator; otherwise false, value
// unchanged.
bool ReadRegistryString(TextView sub_key, TextView value_name, Text* value);
// The same; an empty text when it cannot be read.
Text ReadSetting(TextView sub_key, TextView value_name);
// The same for a value by which files are found, or an account is told from another: what is there,
// and cannot be read for want of memory or for a failing store, is not taken for missing. Throws
// then, std::bad_alloc or Error(kOther).
Text ReadSettingOrThrow(TextView sub_key, TextView value_name,
                        size_t buffer_bytes = kSettingBufferBytes);
// Whether the key can be opened. Throws as ReadSettingOrThrow.
bool HasKeyOrThrow(TextView sub_key);
// One of many values of an open key; an empty text when it is missing. Throws as
// ReadSettingOrThrow.
Text ReadKeyText(const RegistryKey& key, TextView value_name,
                 size_t buffer_bytes = kSettingBufferBytes);

// Writes a text value, making the key when it is missing.
bool WriteRegistryString(TextView sub_key, TextView value_name, TextView value);

// The "Account_Type" value; empty for an ordinary account.
Text ReadAccountType();
inline constexpr TextView kSyncAccount = u"ZVSYNC";

// The host of a value that names an ordinary account's server or script server: what stands before
// its ";". Empty without one.
Text HostOfServerValue(TextView value);
// The network name that the drive answers to: "Remote Name", or its fallback when that is empty.
Text ReadRemoteName();

// Used bytes of "OLdUsedQuota"; nullopt when the value is missing or invalid.
std::optional<int64_t> ReadStoredUsedQuota();
// The "Quota" value in bytes by the per-user look-up; 0 when missing.
int64_t ReadAccountQuota();
// Volume sizes are told and shown in whole mebibytes.
inline constexpr int64_t kBytesPerMib = 1 << 20;

// One row for each value that the product reads: what `zvdrive` and the documentation show.
struct SettingInfo {
  TextView sub_key;
  TextView name;  // "<user>" and "<CurrentUser>" stand for names made from other values
  TextView unit;  // "text", "flag", "bytes", "port", "secret"
  TextView fallback;
  TextView help;
};
std::span<const SettingInfo> AllSettings();

}  // namespace zv
