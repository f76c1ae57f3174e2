#include "platform/posix/registry_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "platform/error.h"
#include "platform/home.h"
#include "platform/posix/home_change.h"

namespace zv::internal {
namespace {

constexpr int kBusyTimeoutMs = 20000;
constexpr int kRetryPauseMs = 2;
constexpr int kRetries = kBusyTimeoutMs / kRetryPauseMs;

// Texts are kept as UTF-16, so that a name comes back as it went in whatever units it holds. The
// folded column is what look-ups compare.
constexpr char kTables[] =
    "CREATE TABLE IF NOT EXISTS registry_keys ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT,"
    " folded TEXT NOT NULL UNIQUE,"
    " path TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS registry_values ("
    " key INTEGER NOT NULL REFERENCES registry_keys (id) ON DELETE CASCADE,"
    " folded TEXT NOT NULL,"
    " name TEXT NOT NULL,"
    " type INTEGER NOT NULL,"
    " data BLOB NOT NULL,"
    " PRIMARY KEY (key, folded)) WITHOUT ROWID;"
    "INSERT OR IGNORE INTO registry_keys (folded, path) VALUES ('user', 'user');"
    "INSERT OR IGNORE INTO registry_keys (folded, path) VALUES ('machine', 'machine');"
    "PRAGMA user_version = 1;";

bool IsBusy(int result) {
  const int kind = result & 0xFF;
  return kind == SQLITE_BUSY || kind == SQLITE_LOCKED || kind == SQLITE_PROTOCOL;
}

// The database's own waiting does not cover every moment (changing the journal's mode, recovery),
// so whatever is busy is tried again here.
template <typename Step>
int Retry(Step step) {
  int result = step();
  for (int i = 0; i < kRetries && IsBusy(result); ++i) {
    sqlite3_sleep(kRetryPauseMs);
    result = step();
  }
  return result;
}

uint32_t ToErrno(int result) {
  switch (result & 0xFF) {
    case SQLITE_NOMEM:
      throw std::bad_alloc();
    case SQLITE_FULL:
      return ENOSPC;
    case SQLITE_TOOBIG:
      return EFBIG;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return EBUSY;
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_READONLY:
      return EACCES;
    case SQLITE_CONSTRAINT:
      return ENOENT;  // the value's key has been removed
    default:
      return EIO;
  }
}

bool Succeeded(int result) {
  if (result == SQLITE_OK || result == SQLITE_DONE || result == SQLITE_ROW) return true;
  SetLastError(ToErrno(result));
  return false;
}

// Binds a statement's parameters, and gives it back ready for its next use. What is bound must live
// as long as the object does.
class Use {
 public:
  explicit Use(sqlite3_stmt* statement) : statement_(statement) {}
  ~Use() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;

  Use& Bind(int64_t value) { return Keep(sqlite3_bind_int64(statement_, ++bound_, value)); }
  Use& Bind(TextView text) {
    const char16_t* start = text.data() ? text.data() : u"";  // a null pointer would bind NULL
    return Keep(sqlite3_bind_text64(statement_, ++bound_, reinterpret_cast<const char*>(start),
                                    text.size() * sizeof(char16_t), SQLITE_STATIC, SQLITE_UTF16));
  }
  Use& BindBytes(std::string_view bytes) {
    const char* start = bytes.data() ? bytes.data() : "";
    return Keep(sqlite3_bind_blob64(statement_, ++bound_, start, bytes.size(), SQLITE_STATIC));
  }
  // SQLITE_ROW, SQLITE_DONE or an error.
  int Step() {
    if (result_ != SQLITE_OK) return result_;
    return Retry([&] {
      sqlite3_reset(statement_);
      return sqlite3_step(statement_);
    });
  }

 private:
  Use& Keep(int result) {
    if (result_ == SQLITE_OK) result_ = result;
    return *this;
  }

  sqlite3_stmt* statement_;
  int bound_ = 0;
  int result_ = SQLITE_OK;
};

TextView RootName(Hive hive) { return hive == Hive::kUser ? u"user" : u"machine"; }

// The root's name and the path's elements, each after a backslash; empty elements do not count.
Text JoinPath(TextView root, TextView path) {
  Text joined(root);
  size_t start = 0;
  while (start < path.size()) {
    const size_t end = std::min(path.find(u'\\', start), path.size());
    if (end > start) joined.append(u"\\").append(path.substr(start, end - start));
    start = end + 1;
  }
  return joined;
}

// Secrets are kept in the store: only its owner may read it. Only a missing file is made here, for
// closing a file that a connection of this process has open would drop that connection's locks.
void MakePrivateFile(const std::string& file) {
  const int handle = open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (handle >= 0) close(handle);
}

struct CurrentStore {
  std::mutex mutex;
  std::shared_ptr<RegistryStore> store;

  void LetGo() {
    const std::lock_guard lock(mutex);
    store.reset();
  }
};

// Never destroyed: threads may still read settings while the process ends. The store itself is
// closed then, which folds its journal into the database.
CurrentStore& CurrentState() {
  static CurrentStore& state = *std::make_unique<CurrentStore>().release();
  static const struct Watch {
    Watch() {
      OnHomeChange([] { state.LetGo(); });
    }
    ~Watch() { state.LetGo(); }
  } watch;
  return state;
}

}  // namespace

std::shared_ptr<RegistryStore> RegistryStore::Current() {
  CurrentStore& state = CurrentState();
  const std::lock_guard lock(state.mutex);
  if (!state.store) state.store = Open(HomeFolder() + "/registry.db");
  return state.store;
}

std::shared_ptr<RegistryStore> RegistryStore::Open(const std::string& file) {
  auto store = std::make_shared<RegistryStore>();
  MakePrivateFile(file);
  if (!Succeeded(store->OpenDatabase(file))) {
    // The database's own code would make a missing right of it.
    const auto code = static_cast<uint32_t>(sqlite3_system_errno(store->database_.get()));
    if (IsSystemFailure(code)) SetLastError(code);
    return nullptr;
  }
  if (!Succeeded(store->MakeTables())) return nullptr;
  if (!Succeeded(store->Prepare())) return nullptr;
  store->memory_.Attach(store->database_.get());
  return store;
}

int RegistryStore::OpenDatabase(const std::string& file) {
  sqlite3* database = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  const int result = sqlite3_open_v2(file.c_str(), &database, flags, nullptr);
  database_.reset(database);
  if (result != SQLITE_OK) return result;
  sqlite3_busy_timeout(database, kBusyTimeoutMs);
  // The encoding counts only in an empty database, before its first use.
  for (const char* pragma : {"PRAGMA encoding = 'UTF-16le'", "PRAGMA journal_mode = WAL",
                             "PRAGMA synchronous = NORMAL", "PRAGMA foreign_keys = ON"}) {
    const int pragma_result = Retry([&] { return Execute(pragma); });
    if (pragma_result != SQLITE_OK) return pragma_result;
  }
  return SQLITE_OK;
}

int RegistryStore::Execute(const char* sql) {
  return sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr);
}

int RegistryStore::MakeTables() {
  sqlite3_stmt* raw = nullptr;
  int version = 0;
  const int result = Retry([&] {
    const int prepared =
        sqlite3_prepare_v2(database_.get(), "PRAGMA user_version", -1, &raw, nullptr);
    const Statement statement(raw);
    if (prepared != SQLITE_OK) return prepared;
    const int step = sqlite3_step(raw);
    if (step == SQLITE_ROW) version = sqlite3_column_int(raw, 0);
    return step;
  });
  if (result != SQLITE_ROW || version != 0) return result;
  const std::string script = std::string("BEGIN IMMEDIATE;") + kTables + "COMMIT;";
  return Retry([&] {
    const int made = Execute(script.c_str());
    if (made != SQLITE_OK && sqlite3_get_autocommit(database_.get()) == 0) Execute("ROLLBACK");
    return made;
  });
}

int RegistryStore::Prepare() {
  const struct {
    Statement* statement;
    const char* sql;
  } statements[] = {
      {&find_key_, "SELECT id FROM registry_keys WHERE folded = ?1"},
      {&insert_key_, "INSERT OR IGNORE INTO registry_keys (folded, path) VALUES (?1, ?2)"},
      {&remove_tree_,
       "DELETE FROM registry_keys WHERE folded = ?1"
       " OR substr(folded, 1, length(?1) + 1) = ?1 || '\\'"},
      {&read_, "SELECT type, data FROM registry_values WHERE key = ?1 AND folded = ?2"},
      {&write_,
       "INSERT INTO registry_values (key, folded, name, type, data) VALUES (?1, ?2, ?3, ?4, ?5)"
       " ON CONFLICT (key, folded) DO UPDATE SET type = excluded.type, data = excluded.data"},
      {&remove_, "DELETE FROM registry_values WHERE key = ?1 AND folded = ?2"},
  };
  for (const auto& [statement, sql] : statements) {
    const int result = Retry([&, target = statement, text = sql] {
      sqlite3_stmt* raw = nullptr;
      const int prepared =
          sqlite3_prepare_v3(database_.get(), text, -1, SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
      target->reset(raw);
      return prepared;
    });
    if (result != SQLITE_OK) return result;
  }
  return SQLITE_OK;
}

std::optional<int64_t> RegistryStore::FindKey(Hive hive, TextView path) {
  const Text joined = JoinPath(RootName(hive), path);
  const std::lock_guard lock(mutex_);
  if (const auto* known = memory_.FindKey(joined)) {
    if (!*known) SetLastError(kErrorFileNotFound);
    return *known;
  }
  const Text folded = ToLower(joined);
  Use use(find_key_.get());
  const int result = use.Bind(TextView(folded)).Step();
  if (!Succeeded(result)) return std::nullopt;
  std::optional<int64_t> key;
  if (result == SQLITE_ROW) key = sqlite3_column_int64(find_key_.get(), 0);
  memory_.KeepKey(joined, key);
  if (!key) SetLastError(kErrorFileNotFound);
  return key;
}

int RegistryStore::InsertKeys(TextView root, TextView path) {
  for (size_t end = root.size(); end < path.size();) {
    end = std::min(path.find(u'\\', end + 1), path.size());
    const Text folded = ToLower(path.substr(0, end));
    Use use(insert_key_.get());
    const int result = use.Bind(TextView(folded)).Bind(path.substr(0, end)).Step();
    if (result != SQLITE_DONE) return result;
  }
  return SQLITE_OK;
}

std::optional<int64_t> RegistryStore::MakeKey(Hive hive, TextView path) {
  if (const auto found = FindKey(hive, path)) return found;
  {
    const std::lock_guard lock(mutex_);
    const Text joined = JoinPath(RootName(hive), path);
    if (!Succeeded(Retry([&] { return Execute("BEGIN IMMEDIATE"); }))) return std::nullopt;
    int result = InsertKeys(RootName(hive), joined);
    if (result == SQLITE_OK) result = Retry([&] { return Execute("COMMIT"); });
    if (sqlite3_get_autocommit(database_.get()) == 0) Execute("ROLLBACK");
    if (!Succeeded(result)) return std::nullopt;
  }
  return FindKey(hive, path);
}

bool RegistryStore::RemoveTree(Hive hive, TextView path) {
  if (!FindKey(hive, path)) return false;
  const Text folded = ToLower(JoinPath(RootName(hive), path));
  const std::lock_guard lock(mutex_);
  return Succeeded(Use(remove_tree_.get()).Bind(TextView(folded)).Step());
}

std::optional<RegistryValue> RegistryStore::Read(int64_t key, TextView name) {
  const Text asked(name);
  const std::lock_guard lock(mutex_);
  if (const auto* known = memory_.FindValue(key, asked)) {
    if (!*known) SetLastError(kErrorFileNotFound);
    return *known;
  }
  auto value = ReadStored(key, name);
  if (!value.read) return std::nullopt;
  memory_.KeepValue(key, asked, value.answer);
  if (!value.answer) SetLastError(kErrorFileNotFound);
  return std::move(value.answer);
}

RegistryStore::StoredValue RegistryStore::ReadStored(int64_t key, TextView name) {
  const Text folded = ToLower(name);
  sqlite3_stmt* statement = read_.get();
  Use use(statement);
  const int result = use.Bind(key).Bind(TextView(folded)).Step();
  StoredValue stored;
  stored.read = Succeeded(result);
  if (result != SQLITE_ROW) return stored;
  RegistryValue& value = stored.answer.emplace();
  value.type = static_cast<uint32_t>(sqlite3_column_int64(statement, 0));
  const char* data = static_cast<const char*>(sqlite3_column_blob(statement, 1));
  const int size = sqlite3_column_bytes(statement, 1);
  if (size > 0) {
    if (!data) throw std::bad_alloc();
    value.data.assign(data, static_cast<size_t>(size));
  }
  return stored;
}

bool RegistryStore::Write(int64_t key, TextView name, uint32_t type, std::string_view data) {
  const Text folded = ToLower(name);
  const std::lock_guard lock(mutex_);
  Use use(write_.get());
  use.Bind(key).Bind(TextView(folded)).Bind(name).Bind(int64_t{type}).BindBytes(data);
  return Succeeded(use.Step());
}

bool RegistryStore::Remove(int64_t key, TextView name) {
  const Text folded = ToLower(name);
  const std::lock_guard lock(mutex_);
  if (!Succeeded(Use(remove_.get()).Bind(key).Bind(TextView(folded)).Step())) return false;
  if (sqlite3_changes(database_.get()) > 0) return true;
  SetLastError(kErrorFileNotFound);
  return false;
}

}  // namespace zv::internal
