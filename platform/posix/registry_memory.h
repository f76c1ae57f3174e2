// Answers of the registry's store, kept until the next change of the database by any process:
// settings are read several times for each request and seldom written.
//
// What tells a change is the head of the write-ahead log's index. All processes that use the
// database share it in memory, and changing it is the very step by which a commit becomes visible
// to readers; so while the head is the same, so is what a read would find.
#pragma once

#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <optional>
#include <unordered_map>

#include "platform/registry.h"
#include "platform/text.h"

namespace zv::internal {

// Not thread-safe: the store calls it under its own lock.
class RegistryMemory {
 public:
  using KeyAnswer = std::optional<int64_t>;  // nullopt: there is none
  using ValueAnswer = std::optional<RegistryValue>;

  // The database of an open connection, which has read in write-ahead mode and outlives this
  // object. Where the index cannot be reached nothing is kept.
  void Attach(sqlite3* database);

  // What is kept and still true; nullptr when the store must be asked. The answer lives until the
  // next call.
  const KeyAnswer* FindKey(const Text& path);
  const ValueAnswer* FindValue(int64_t key, const Text& name);
  // Keeps what the store said after the last Find..., unless anything changed meanwhile.
  void KeepKey(const Text& path, const KeyAnswer& answer);
  void KeepValue(int64_t key, const Text& name, const ValueAnswer& answer);

 private:
  // Two copies of 48 bytes each; a writer sets the second one first.
  using Head = std::array<char, 96>;

  bool ReadHead(Head* head) const;
  void ForgetOutdated();
  bool MayKeep() const;

  volatile void* index_ = nullptr;
  bool is_known_ = false;
  Head head_{};  // at the last Find...
  std::unordered_map<Text, KeyAnswer> keys_;
  std::unordered_map<int64_t, std::unordered_map<Text, ValueAnswer>> values_;
  size_t kept_ = 0;
};

}  // namespace zv::internal
