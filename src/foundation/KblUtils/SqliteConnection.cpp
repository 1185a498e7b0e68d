#include "foundation/KblUtils/SqliteConnection.h"

namespace KBL {

namespace {

constexpr int busyTimeoutMs = 30000;
constexpr int largestValueBytes = 64 << 20;

struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using UniqueStatement = std::unique_ptr<sqlite3_stmt, Finalize>;

}  // namespace

std::unique_ptr<SqliteConnection> SqliteConnection::open(const char* name, int& code) {
  sqlite3* handle = nullptr;
  code = sqlite3_open_v2(name, &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
                         nullptr);
  // SQLite hands out a handle to be closed even when it fails.
  std::unique_ptr<SqliteConnection> connection(new SqliteConnection(handle));
  if (code != SQLITE_OK) return nullptr;
  return connection;
}

std::unique_ptr<SqliteConnection> SqliteConnection::openFile(const std::string& path, Contents contents,
                                                             int& code) {
  std::unique_ptr<SqliteConnection> connection = open(path.c_str(), code);
  if (connection == nullptr) return nullptr;
  if (contents == Contents::discarded) {
    code = sqlite3_db_config(connection->handle_.get(), SQLITE_DBCONFIG_RESET_DATABASE, 1, nullptr);
    if (code != SQLITE_OK) return nullptr;
  }
  connection->harden();
  connection->keepNothingBehind();
  return connection;
}

std::unique_ptr<SqliteConnection> SqliteConnection::openMemory(int& code) {
  return open(":memory:", code);
}

/// The file may come from anybody: no code of its schema runs, and SQLite trusts its pages less.
void SqliteConnection::harden() {
  sqlite3* const handle = handle_.get();
  sqlite3_busy_timeout(handle, busyTimeoutMs);
  sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, largestValueBytes);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  execute("PRAGMA cell_size_check=ON");
}

/// Each may fail on a file that is no database; whoever uses the file then hears of it.
void SqliteConnection::keepNothingBehind() {
  execute("PRAGMA temp_store=MEMORY");
  execute("PRAGMA journal_mode=DELETE");  // the file of another program may be in write-ahead mode
  execute("PRAGMA synchronous=EXTRA");    // also brings the end of the journal to the disk
  execute("PRAGMA secure_delete=ON");
}

int SqliteConnection::execute(const std::string& sql) {
  return sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, nullptr);
}

int SqliteConnection::query(const std::string& sql, std::initializer_list<const char*> texts,
                            std::string* firstColumn) {
  sqlite3_stmt* prepared = nullptr;
  int code = sqlite3_prepare_v2(handle_.get(), sql.c_str(), -1, &prepared, nullptr);
  const UniqueStatement statement(prepared);
  if (code != SQLITE_OK) return code;
  int place = 0;
  for (const char* text : texts) {
    code = sqlite3_bind_text(prepared, ++place, text, -1, SQLITE_TRANSIENT);
    if (code != SQLITE_OK) return code;
  }
  code = sqlite3_step(prepared);
  if (code == SQLITE_ROW && firstColumn != nullptr) {
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(prepared, 0));
    if (text == nullptr && sqlite3_column_type(prepared, 0) != SQLITE_NULL) return SQLITE_NOMEM;
    firstColumn->assign(text == nullptr ? "" : text);
  }
  return code;
}

int SqliteConnection::copyFrom(SqliteConnection& source) {
  sqlite3_backup* const copy = sqlite3_backup_init(handle_.get(), "main", source.handle_.get(), "main");
  if (copy == nullptr) return sqlite3_extended_errcode(handle_.get());
  const int stepped = sqlite3_backup_step(copy, -1);
  const int finished = sqlite3_backup_finish(copy);
  return stepped == SQLITE_DONE ? SQLITE_OK : (finished != SQLITE_OK ? finished : stepped);
}

SqliteTransaction::~SqliteTransaction() {
  if (open_) connection_.execute("ROLLBACK");
}

int SqliteTransaction::begin() {
  const int code = connection_.execute("BEGIN IMMEDIATE");
  open_ = code == SQLITE_OK;
  return code;
}

int SqliteTransaction::commit() {
  const int code = connection_.execute("COMMIT");
  if (code == SQLITE_OK) open_ = false;
  return code;
}

}  // namespace KBL
