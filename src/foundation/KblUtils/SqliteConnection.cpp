#include "foundation/KblUtils/SqliteConnection.h"

#include "foundation/Texts.h"

#include <algorithm>
#include <iterator>
#include <thread>

namespace KBL {

namespace {

constexpr int largestValueBytes = 64 << 20;
/// In KiB: some thousand users. What finds no room is written early, behind a sync of its own, and read
/// again.
constexpr const char* roomForPages = "PRAGMA cache_size=-16384";

struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using UniqueStatement = std::unique_ptr<sqlite3_stmt, Finalize>;

}  // namespace

std::unique_ptr<SqliteConnection> SqliteConnection::open(const char* name, int& code) {
  sqlite3* opened = nullptr;
  code = sqlite3_open_v2(name, &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX,
                         nullptr);
  // SQLite hands out a handle to be closed even when it fails.
  Handle handle(opened);
  if (code != SQLITE_OK) return nullptr;
  return std::unique_ptr<SqliteConnection>(new SqliteConnection(std::move(handle)));
}

std::unique_ptr<SqliteConnection> SqliteConnection::openFile(const std::string& path, Contents contents,
                                                             SqliteDeadline deadline, int& code) {
  std::unique_ptr<SqliteConnection> connection = open(path.c_str(), code);
  if (connection == nullptr) return nullptr;
  connection->deadline_ = deadline;
  // Asked before the first page is read: afterwards a damaged head may count as write protection, too.
  connection->isWriteProtected_ = sqlite3_db_readonly(connection->handle_.get(), "main") == 1;
  if (contents == Contents::discarded) {
    code = sqlite3_db_config(connection->handle_.get(), SQLITE_DBCONFIG_RESET_DATABASE, 1, nullptr);
    if (code != SQLITE_OK) return nullptr;
  }
  code = connection->setUp();
  return code == SQLITE_OK ? std::move(connection) : nullptr;
}

std::unique_ptr<SqliteConnection> SqliteConnection::openMemory(int& code) {
  return open(":memory:", code);
}

/// SQLite calls it while another process holds the file: 0 gives up.
int SqliteConnection::waitForOthers(void* self, int formerWaits) {
  using std::chrono::milliseconds;
  constexpr int waitsMs[] = {1, 2, 5, 10, 15, 20};
  const auto left = static_cast<SqliteConnection*>(self)->deadline_ - std::chrono::steady_clock::now();
  if (left <= left.zero()) return 0;
  const auto step = std::min<std::size_t>(static_cast<std::size_t>(formerWaits), std::size(waitsMs) - 1);
  std::this_thread::sleep_for(std::min<SqliteDeadline::duration>(left, milliseconds(waitsMs[step])));
  return 1;
}

/// The file may come from anybody: no code of its schema runs, and SQLite trusts its pages less. A save
/// leaves nothing behind, and waits for the disk.
int SqliteConnection::setUp() {
  sqlite3* const handle = handle_.get();
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_handler(handle, &waitForOthers, this);
  sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, largestValueBytes);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  int code = apply("PRAGMA cell_size_check=ON");
  if (code == SQLITE_OK) code = leaveWriteAheadMode();
  // EXTRA also brings the end of the journal to the disk.
  for (const char* const pragma :
       {"PRAGMA temp_store=MEMORY", "PRAGMA synchronous=EXTRA", "PRAGMA secure_delete=ON", roomForPages}) {
    if (code == SQLITE_OK) code = apply(pragma);
  }
  return code;
}

/// What the contents refuse is passed over: whoever uses the file then hears of it.
int SqliteConnection::apply(const char* pragma) {
  const int code = execute(pragma);
  return liesInContents(code) ? SQLITE_OK : code;
}

/// The file of another program may be in that mode, and stays in it while the program has it open: then
/// SQLite answers at once, and reading and writing work all the same.
int SqliteConnection::leaveWriteAheadMode() {
  const int code = apply("PRAGMA journal_mode=DELETE");
  const bool isGivenUp = std::chrono::steady_clock::now() >= deadline_;
  return (code & 0xFF) == SQLITE_BUSY && !isGivenUp ? SQLITE_OK : code;
}

bool SqliteConnection::liesInContents(int code) const {
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
    case SQLITE_AUTH:
    case SQLITE_NOLFS:
    case SQLITE_MISUSE:
    case SQLITE_TOOBIG:
    case SQLITE_PROTOCOL:
      return false;
    case SQLITE_READONLY:
      // Without a further cause it is the head of the file that forbids to write, unless the rights do.
      return code == SQLITE_READONLY && !isWriteProtected_;
    default:
      return true;
  }
}

int SqliteConnection::execute(const std::string& sql) {
  return sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, nullptr);
}

int SqliteConnection::query(const std::string& sql, std::initializer_list<const char*> texts,
                            const Column& take) {
  sqlite3_stmt* prepared = nullptr;
  int code = sqlite3_prepare_v2(handle_.get(), sql.c_str(), -1, &prepared, nullptr);
  const UniqueStatement statement(prepared);
  if (code != SQLITE_OK) return code;
  int place = 0;
  for (const char* text : texts) {
    code = sqlite3_bind_text(prepared, ++place, text, -1, SQLITE_STATIC);
    if (code != SQLITE_OK) return code;
  }
  code = sqlite3_step(prepared);
  if (code == SQLITE_ROW && take) {
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(prepared, 0));
    if (text == nullptr && sqlite3_column_type(prepared, 0) != SQLITE_NULL) return SQLITE_NOMEM;
    take(textOrEmpty(text));
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
