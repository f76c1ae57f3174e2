// The registry's store: <home>/registry.db, an SQLite database in write-ahead mode, so that readers
// and writers of several processes do not stand in each other's way. Any thread; calls take turns.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/registry_memory.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace zv::internal {

enum class Hive { kUser, kMachine };

class RegistryStore {
 public:
  // The store of the current home, opened (and made) at need; null with LastError(). Handles that
  // were taken from an earlier home's store keep it open.
  static std::shared_ptr<RegistryStore> Current();

  // Every call reports failure by its result with LastError() set; "missing" is kErrorFileNotFound.
  std::optional<int64_t> FindKey(Hive hive, TextView path);
  std::optional<int64_t> MakeKey(Hive hive, TextView path);
  bool RemoveTree(Hive hive, TextView path);

  std::optional<RegistryValue> Read(int64_t key, TextView name);
  bool Write(int64_t key, TextView name, uint32_t type, std::string_view data);
  bool Remove(int64_t key, TextView name);

 private:
  struct CloseDatabase {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

  static std::shared_ptr<RegistryStore> Open(const std::string& file);
  int OpenDatabase(const std::string& file);
  int MakeTables();
  int Prepare();
  int Execute(const char* sql);
  int InsertKeys(TextView root, TextView path);
  struct StoredValue {
    bool read = false;                    // false: the database could not be read
    std::optional<RegistryValue> answer;  // nullopt: there is none
  };
  StoredValue ReadStored(int64_t key, TextView name);

  std::mutex mutex_;
  std::unique_ptr<sqlite3, CloseDatabase> database_;  // outlives the statements below
  RegistryMemory memory_;
  Statement find_key_, insert_key_, remove_tree_, read_, write_, remove_;
};

}  // namespace zv::internal
