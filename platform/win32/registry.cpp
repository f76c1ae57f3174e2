#include "platform/registry.h"

#include <windows.h>

#include <shlwapi.h>

#include <algorithm>
#include <utility>

#include "platform/error.h"
#include "platform/registry_testing.h"
#include "platform/win32/wide.h"

namespace zv {
namespace {

// The registry's calls return their error.
bool Succeeded(LSTATUS status) {
  if (status != ERROR_SUCCESS) SetLastError(static_cast<uint32_t>(status));
  return status == ERROR_SUCCESS;
}

class Key {
 public:
  Key() = default;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() {
    if (key_) RegCloseKey(key_);
  }

  bool Open(HKEY root, TextView path) {
    return Succeeded(RegOpenKeyExW(root, ToWide(path).c_str(), 0, KEY_ALL_ACCESS, &key_));
  }
  bool Create(HKEY root, TextView path) {
    return Succeeded(RegCreateKeyExW(root, ToWide(path).c_str(), 0, nullptr,
                                     REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE, nullptr, &key_,
                                     nullptr));
  }
  bool Write(TextView name, uint32_t type, std::string_view data) const {
    // The system looks at the unit after a text and counts it in when it is a terminator: what
    // follows here is none, so that the bytes are kept as given.
    const std::string guarded = std::string(data) + "\xFF\xFF";
    return Succeeded(RegSetValueExW(key_, ToWide(name).c_str(), 0, type,
                                    reinterpret_cast<const BYTE*>(guarded.data()),
                                    static_cast<DWORD>(data.size())));
  }
  HKEY get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

// Removes a key with everything below it.
bool RemoveTree(HKEY root, TextView path) {
  return Succeeded(RegDeleteTreeW(root, ToWide(path).c_str()));
}

}  // namespace

struct RegistryKey::Impl {
  Key key;
};

RegistryKey::RegistryKey(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
RegistryKey::RegistryKey(RegistryKey&&) noexcept = default;
RegistryKey& RegistryKey::operator=(RegistryKey&&) noexcept = default;
RegistryKey::~RegistryKey() = default;

std::optional<RegistryKey> RegistryKey::Open(TextView path, KeyMode mode) {
  auto impl = std::make_unique<Impl>();
  const bool opened = mode == KeyMode::kOpen ? impl->key.Open(HKEY_CURRENT_USER, path)
                                             : impl->key.Create(HKEY_CURRENT_USER, path);
  if (!opened) return std::nullopt;
  return RegistryKey(std::move(impl));
}

std::optional<RegistryValue> RegistryKey::Read(TextView name, size_t max_bytes) const {
  const std::wstring wide_name = ToWide(name);
  DWORD type = 0;
  DWORD size = 0;
  const HKEY key = impl_->key.get();
  if (!Succeeded(RegQueryValueExW(key, wide_name.c_str(), nullptr, &type, nullptr, &size))) {
    return std::nullopt;
  }
  if (size > max_bytes) {
    SetLastError(ERROR_MORE_DATA);
    return std::nullopt;
  }
  RegistryValue value;
  // The value may have changed since: then the room is what was found to suffice, or the call
  // fails.
  value.data.resize(size);
  BYTE* data = reinterpret_cast<BYTE*>(value.data.data());
  if (!Succeeded(RegQueryValueExW(key, wide_name.c_str(), nullptr, &type, data, &size))) {
    return std::nullopt;
  }
  value.type = type;
  value.data.resize(size);
  return value;
}

bool RegistryKey::Write(TextView name, uint32_t type, std::string_view data) {
  return impl_->key.Write(name, type, data);
}

std::optional<Text> ReadPerUserText(TextView path, TextView name, size_t max_bytes) {
  // Far larger than any setting: a value that does not fit would send the look-up on from the
  // user's hive to the machine's.
  constexpr size_t kRoom = 65536;
  std::wstring buffer(std::max(kRoom, max_bytes) / sizeof(wchar_t) + 1, L'\0');
  DWORD type = 0;
  DWORD size = static_cast<DWORD>((buffer.size() - 1) * sizeof(wchar_t));
  const LSTATUS status = SHRegGetUSValueW(ToWide(path).c_str(), ToWide(name).c_str(), &type,
                                          buffer.data(), &size, FALSE, nullptr, 0);
  if (!Succeeded(status) || size > max_bytes) return std::nullopt;
  if (type != REG_SZ && type != REG_EXPAND_SZ) return std::nullopt;
  buffer.resize(size / sizeof(wchar_t));
  return FromWide(buffer.c_str());
}

Text ReadProfileText(TextView file, TextView section, TextView key, size_t max_chars) {
  if (max_chars == 0) return {};
  std::wstring buffer(max_chars, L'\0');
  const DWORD length =
      GetPrivateProfileStringW(ToWide(section).c_str(), ToWide(key).c_str(), L"", buffer.data(),
                               static_cast<DWORD>(buffer.size()), ToWide(file).c_str());
  return FromWide(buffer.data(), length);
}

namespace testing {

bool WriteMachineValue(TextView path, TextView name, uint32_t type, std::string_view data) {
  Key key;
  return key.Create(HKEY_LOCAL_MACHINE, path) && key.Write(name, type, data);
}

bool RemoveUserValue(TextView path, TextView name) {
  Key key;
  return key.Open(HKEY_CURRENT_USER, path) &&
         Succeeded(RegDeleteValueW(key.get(), ToWide(name).c_str()));
}

bool RemoveUserTree(TextView path) { return RemoveTree(HKEY_CURRENT_USER, path); }
bool RemoveMachineTree(TextView path) { return RemoveTree(HKEY_LOCAL_MACHINE, path); }

}  // namespace testing
}  // namespace zv
