#include "foundation/KblUtils/SettingTable.h"
#include "foundation/KblUtils/SqliteConnection.h"
#include "foundation/neverFreed.h"
#include "foundation/system/System.h"
#include <KblUtils/KblSqliteUnit.h>
#include <KblUtils/Path.h>

#include <cstring>
#include <exception>
#include <mutex>
#include <new>
#include <string>

namespace KBL {

namespace {

/// SQLite itself would make the file readable by everybody. The lock keeps a second unit of this process from
/// taking SQLite's file locks before the new file is closed here, since closing drops them all. Workers may
/// still save while the process ends.
void preparePrivateFile(const std::string& path) {
  static std::mutex& creation = neverFreed<std::mutex>();
  const std::lock_guard lock(creation);
  if (!System::createPrivateFile(path)) System::makeFilePrivate(path);
}

/// Runs an operation whose exceptions (want of memory) must not reach the caller; SQLite's code.
template <class Operation>
int guarded(Operation operation) {
  try {
    return operation();
  } catch (const std::exception&) {
    return SQLITE_NOMEM;
  }
}

}  // namespace

class KblSqliteUnit::Database {
 public:
  static std::unique_ptr<Database> open(const std::string& path, SqliteDeadline deadline, int& code) {
    preparePrivateFile(path);
    auto connection = SqliteConnection::openFile(path, SqliteConnection::Contents::kept, deadline, code);
    if (connection == nullptr) return nullptr;
    return std::unique_ptr<Database>(new Database(path, deadline, std::move(connection)));
  }

  int createTable(const char* table) { return SettingTable(*connection_, table).create(); }

  int store(const char* table, const char* key, const char* value) {
    const int code = SettingTable(*connection_, table).store(key, value);
    return liesInContents(code) ? writeAnew(table, key, value) : code;
  }

  int read(const char* table, const char* key, std::optional<std::string>& value) {
    const int code = SettingTable(*connection_, table).read(key, value);
    return code == SQLITE_TOOBIG ? SQLITE_MISMATCH : code;  // no value that was stored here
  }

  [[nodiscard]] bool liesInContents(int code) const { return connection_->liesInContents(code); }

 private:
  Database(std::string path, SqliteDeadline deadline, std::unique_ptr<SqliteConnection> connection)
      : path_(std::move(path)), deadline_(deadline), connection_(std::move(connection)) {}

  /// Replaces whatever the file holds by a new database with this one value. It is built in memory and copied
  /// over the file in one transaction under SQLite's own locks and journal: an interruption leaves the former
  /// contents, and another process that has the file open stays in order, which no renaming could promise.
  int writeAnew(const char* table, const char* key, const char* value) {
    int code = SQLITE_OK;
    const auto fresh = SqliteConnection::openMemory(code);
    if (fresh == nullptr) return code;
    code = SettingTable(*fresh, table).store(key, value);
    if (code != SQLITE_OK) return code;
    code = replaceContents(*fresh);
    if (code != SQLITE_OK) return code;
    // What the former connection learned about the file no longer holds.
    int reopened = SQLITE_OK;
    auto next = SqliteConnection::openFile(path_, SqliteConnection::Contents::kept, deadline_, reopened);
    if (next != nullptr) connection_ = std::move(next);
    return SQLITE_OK;
  }

  int replaceContents(SqliteConnection& fresh) const {
    int code = SQLITE_OK;
    const auto target =
        SqliteConnection::openFile(path_, SqliteConnection::Contents::discarded, deadline_, code);
    return target == nullptr ? code : target->copyFrom(fresh);
  }

  const std::string path_;
  const SqliteDeadline deadline_;
  std::unique_ptr<SqliteConnection> connection_;
};

KblSqliteUnit::KblSqliteUnit() = default;

KblSqliteUnit::~KblSqliteUnit() = default;

_Result KblSqliteUnit::open(const char* path, std::chrono::steady_clock::time_point deadline) {
  database_.reset();
  if (path == nullptr || *path == '\0') return ended(SQLITE_MISUSE);
  int code = SQLITE_OK;
  // An absolute path keeps SQLite from seeing one of its special names, such as ":memory:" or "file:...".
  return ended(guarded([&] {
    database_ = Database::open(PathUtil::absolute(Path(path)).string(), deadline, code);
    return code;
  }));
}

_Result KblSqliteUnit::close() {
  database_.reset();
  return resultOk;
}

int KblSqliteUnit::isOpened() {
  return database_ == nullptr ? 0 : 1;
}

_Result KblSqliteUnit::createSettingTable(const char* table) {
  if (database_ == nullptr || !SettingTable::isValidName(table)) return ended(SQLITE_MISUSE);
  return ended(guarded([&] { return database_->createTable(table); }));
}

_Result KblSqliteUnit::setSettingValue(const char* table, const char* key, const char* value) {
  if (database_ == nullptr || !SettingTable::isValidName(table)) return ended(SQLITE_MISUSE);
  if (key == nullptr || value == nullptr) return ended(SQLITE_MISUSE);
  return ended(guarded([&] { return database_->store(table, key, value); }));
}

_Result KblSqliteUnit::getSettingValue(const char* table, const char* key, char** value) {
  if (value == nullptr) return ended(SQLITE_MISUSE);
  *value = nullptr;
  if (database_ == nullptr || key == nullptr || !SettingTable::isValidName(table)) {
    return ended(SQLITE_MISUSE);
  }
  return ended(guarded([&] {
    std::optional<std::string> text;
    const int code = database_->read(table, key, text);
    if (code != SQLITE_OK || !text) return code;
    char* const copy = new char[text->size() + 1];
    std::memcpy(copy, text->c_str(), text->size() + 1);
    *value = copy;
    return SQLITE_OK;
  }));
}

_Result KblSqliteUnit::ended(int code) {
  lastCode_ = code;
  liesInContents_ = database_ != nullptr && database_->liesInContents(code);
  return code == SQLITE_OK ? resultOk : resultFailed;
}

bool KblSqliteUnit::failedByContents() const {
  return liesInContents_;
}

const char* KblSqliteUnit::failure() const {
  return lastCode_ == SQLITE_OK ? "" : sqlite3_errstr(lastCode_);
}

// NOLINTNEXTLINE(readability-non-const-parameter): it takes back what getSettingValue gave
void KblSqliteUnit::freeSettingValue(char* value) {
  delete[] value;
}

}  // namespace KBL
