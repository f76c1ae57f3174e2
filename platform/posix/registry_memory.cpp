#include "platform/posix/registry_memory.h"

#include <atomic>
#include <cstring>

namespace zv::internal {
namespace {

constexpr int kIndexRegion = 32768;  // bytes; the unit in which the index is mapped
constexpr size_t kHeadCopy = 48;     // bytes
constexpr size_t kMostAnswers = 1000;

}  // namespace

void RegistryMemory::Attach(sqlite3* database) {
  index_ = nullptr;
  sqlite3_file* file = nullptr;
  if (sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK) return;
  if (!file || !file->pMethods || file->pMethods->iVersion < 2 || !file->pMethods->xShmMap) return;
  // The connection has mapped it already, and keeps it until it is closed.
  file->pMethods->xShmMap(file, 0, kIndexRegion, 0, &index_);
}

bool RegistryMemory::ReadHead(Head* head) const {
  if (!index_) return false;
  const char* index = static_cast<const char*>(const_cast<const void*>(index_));
  std::memcpy(head->data(), index, kHeadCopy);
  std::atomic_thread_fence(std::memory_order_seq_cst);
  std::memcpy(head->data() + kHeadCopy, index + kHeadCopy, kHeadCopy);
  // Copies that differ are those of a commit under way.
  return std::memcmp(head->data(), head->data() + kHeadCopy, kHeadCopy) == 0;
}

void RegistryMemory::ForgetOutdated() {
  Head now;
  const bool is_known = ReadHead(&now);
  if (is_known && is_known_ && now == head_ && kept_ < kMostAnswers) return;
  keys_.clear();
  values_.clear();
  kept_ = 0;
  is_known_ = is_known;
  head_ = now;
}

bool RegistryMemory::MayKeep() const {
  std::atomic_thread_fence(std::memory_order_seq_cst);
  Head now;
  return is_known_ && ReadHead(&now) && now == head_;
}

const RegistryMemory::KeyAnswer* RegistryMemory::FindKey(const Text& path) {
  ForgetOutdated();
  const auto found = keys_.find(path);
  return found == keys_.end() ? nullptr : &found->second;
}

const RegistryMemory::ValueAnswer* RegistryMemory::FindValue(int64_t key, const Text& name) {
  ForgetOutdated();
  const auto of_key = values_.find(key);
  if (of_key == values_.end()) return nullptr;
  const auto found = of_key->second.find(name);
  return found == of_key->second.end() ? nullptr : &found->second;
}

void RegistryMemory::KeepKey(const Text& path, const KeyAnswer& answer) {
  if (MayKeep() && keys_.try_emplace(path, answer).second) ++kept_;
}

void RegistryMemory::KeepValue(int64_t key, const Text& name, const ValueAnswer& answer) {
  if (MayKeep() && values_[key].try_emplace(name, answer).second) ++kept_;
}

}  // namespace zv::internal
