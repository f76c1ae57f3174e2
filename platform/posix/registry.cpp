#include "platform/registry.h"

#include <cerrno>
#include <utility>

#include "platform/error.h"
#include "platform/posix/registry_store.h"
#include "platform/registry_testing.h"

namespace zv {

using internal::Hive;
using internal::RegistryStore;

struct RegistryKey::Impl {
  std::shared_ptr<RegistryStore> store;
  int64_t id;
};

RegistryKey::RegistryKey(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
RegistryKey::RegistryKey(RegistryKey&&) noexcept = default;
RegistryKey& RegistryKey::operator=(RegistryKey&&) noexcept = default;
RegistryKey::~RegistryKey() = default;

std::optional<RegistryKey> RegistryKey::Open(TextView path, KeyMode mode) {
  auto store = RegistryStore::Current();
  if (!store) return std::nullopt;
  const auto id = mode == KeyMode::kOpen ? store->FindKey(Hive::kUser, path)
                                         : store->MakeKey(Hive::kUser, path);
  if (!id) return std::nullopt;
  return RegistryKey(std::make_unique<Impl>(Impl{std::move(store), *id}));
}

std::optional<RegistryValue> RegistryKey::Read(TextView name, size_t max_bytes) const {
  auto value = impl_->store->Read(impl_->id, name);
  if (value && value->data.size() > max_bytes) {
    SetLastError(EOVERFLOW);
    return std::nullopt;
  }
  return value;
}

bool RegistryKey::Write(TextView name, uint32_t type, std::string_view data) {
  return impl_->store->Write(impl_->id, name, type, data);
}

std::optional<Text> ReadPerUserText(TextView path, TextView name, size_t max_bytes) {
  const auto store = RegistryStore::Current();
  if (!store) return std::nullopt;
  std::optional<RegistryValue> value;
  for (const Hive hive : {Hive::kUser, Hive::kMachine}) {
    const auto key = store->FindKey(hive, path);
    if (key) value = store->Read(*key, name);
    if (value) break;
  }
  if (!value || value->data.size() > max_bytes) return std::nullopt;
  if (value->type != kRegSz && value->type != kRegExpandSz) return std::nullopt;
  Text text = FromUtf16LeBytes(value->data);
  text.resize(std::min(text.find(u'\0'), text.size()));
  return text;
}

namespace testing {

bool WriteMachineValue(TextView path, TextView name, uint32_t type, std::string_view data) {
  const auto store = RegistryStore::Current();
  if (!store) return false;
  const auto key = store->MakeKey(Hive::kMachine, path);
  return key && store->Write(*key, name, type, data);
}

bool RemoveUserValue(TextView path, TextView name) {
  const auto store = RegistryStore::Current();
  if (!store) return false;
  const auto key = store->FindKey(Hive::kUser, path);
  return key && store->Remove(*key, name);
}

bool RemoveUserTree(TextView path) {
  const auto store = RegistryStore::Current();
  return store && store->RemoveTree(Hive::kUser, path);
}

bool RemoveMachineTree(TextView path) {
  const auto store = RegistryStore::Current();
  return store && store->RemoveTree(Hive::kMachine, path);
}

}  // namespace testing
}  // namespace zv
