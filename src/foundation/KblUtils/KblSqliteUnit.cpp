#include "foundation/KblUtils/KblSqliteUnit.h"

#include "foundation/KblUtils/Path.h"
#include "foundation/KblUtils/SettingTable.h"
#include "foundation/KblUtils/SqliteConnection.h"
#include "foundation/KblUtils/system/System.h"

#include <cstring>
#include <exception>
#include <mutex>
#include <new>
#include <string>

namespace KBL {

namespace {

/// SQLite itself would make the file readable by everybody. The lock keeps a second unit of this process from
/// taking SQLite's file locks before the new file is closed here, since closing drops them all.
void preparePrivateFile(const std::string& path) {
  static std::mutex& creation = *new std::mutex;
  const std::lock_guard lock(creation);
  if (!System::createPrivateFile(path)) System::makeFilePrivate(path);
}

/// True for what lies in the file's contents, false for what lies in the disk, the rights, the other writers
/// or the value.
bool isUnusableFile(int code) {
  switch (code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_NOMEM:
    case SQLITE_INTERRUPT:
    case SQLITE_IOERR:
    case SQLITE_FULL:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_TOOBIG:
    case SQLITE_PROTOCOL:
      return false;
    default:
      return true;
  }
}

_Result resultOf(int code) {
  return code == SQLITE_OK ? resultOk : resultFailed;
}

/// Runs an operation whose exceptions (want of memory) must not reach the caller.
template <class Operation>
_Result guarded(Operation operation) {
  try {
    return operation();
  } catch (const std::exception&) {
    return resultFailed;
  }
}

}  // namespace

class KblSqliteUnit::Database {
 public:
  static std::unique_ptr<Database> open(const std::string& path) {
    preparePrivateFile(path);
    int code = SQLITE_OK;
    auto connection = SqliteConnection::openFile(path, SqliteConnection::Contents::kept, code);
    if (connection == nullptr) return nullptr;
    return std::unique_ptr<Database>(new Database(path, std::move(connection)));
  }

  int createTable(const char* table) { return SettingTable(*connection_, table).create(); }

  int store(const char* table, const char* key, const char* value) {
    const int code = SettingTable(*connection_, table).store(key, value);
    return isUnusableFile(code) ? writeAnew(table, key, value) : code;
  }

  int read(const char* table, const char* key, std::optional<std::string>& value) {
    return SettingTable(*connection_, table).read(key, value);
  }

 private:
  Database(std::string path, std::unique_ptr<SqliteConnection> connection)
      : path_(std::move(path)), connection_(std::move(connection)) {}

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
    auto next = SqliteConnection::openFile(path_, SqliteConnection::Contents::kept, reopened);
    if (next != nullptr) connection_ = std::move(next);
    return SQLITE_OK;
  }

  int replaceContents(SqliteConnection& fresh) const {
    int code = SQLITE_OK;
    const auto target = SqliteConnection::openFile(path_, SqliteConnection::Contents::discarded, code);
    return target == nullptr ? code : target->copyFrom(fresh);
  }

  const std::string path_;
  std::unique_ptr<SqliteConnection> connection_;
};

KblSqliteUnit::KblSqliteUnit() = default;

KblSqliteUnit::~KblSqliteUnit() = default;

_Result KblSqliteUnit::open(const char* path) {
  database_.reset();
  if (path == nullptr || *path == '\0') return resultFailed;
  // An absolute path keeps SQLite from seeing one of its special names, such as ":memory:" or "file:...".
  return guarded([&] {
    database_ = Database::open(PathUtil::absolute(Path(path)).string());
    return database_ == nullptr ? resultFailed : resultOk;
  });
}

_Result KblSqliteUnit::close() {
  database_.reset();
  return resultOk;
}

int KblSqliteUnit::isOpened() {
  return database_ == nullptr ? 0 : 1;
}

_Result KblSqliteUnit::createSettingTable(const char* table) {
  if (database_ == nullptr || !SettingTable::isValidName(table)) return resultFailed;
  return guarded([&] { return resultOf(database_->createTable(table)); });
}

_Result KblSqliteUnit::setSettingValue(const char* table, const char* key, const char* value) {
  if (database_ == nullptr || !SettingTable::isValidName(table)) return resultFailed;
  if (key == nullptr || value == nullptr) return resultFailed;
  return guarded([&] { return resultOf(database_->store(table, key, value)); });
}

_Result KblSqliteUnit::getSettingValue(const char* table, const char* key, char** value) {
  if (value == nullptr) return resultFailed;
  *value = nullptr;
  if (database_ == nullptr || key == nullptr || !SettingTable::isValidName(table)) return resultFailed;
  return guarded([&] {
    std::optional<std::string> text;
    const int code = database_->read(table, key, text);
    if (code != SQLITE_OK || !text) return resultOf(code);
    char* const copy = new char[text->size() + 1];
    std::memcpy(copy, text->c_str(), text->size() + 1);
    *value = copy;
    return resultOk;
  });
}

// NOLINTNEXTLINE(readability-non-const-parameter): it takes back what getSettingValue gave
void KblSqliteUnit::freeSettingValue(char* value) {
  delete[] value;
}

}  // namespace KBL
