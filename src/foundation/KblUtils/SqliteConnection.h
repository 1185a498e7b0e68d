#pragma once

#include <sqlite3.h>

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

namespace KBL {

/// Until when other processes are waited for. The system's own clock: the waiting happens inside SQLite and
/// under locks of whoever saves, where an installed time source may not be asked.
using SqliteDeadline = std::chrono::steady_clock::time_point;

/// One open SQLite database, set up for small secret documents: rollback journal that leaves nothing behind,
/// everything synced, freed pages overwritten, other processes waited for. Results are SQLite's codes. One
/// thread at a time.
class SqliteConnection {
 public:
  enum class Contents { kept, discarded };

  /// Opens an existing or new file (absolute UTF-8 path). With `discarded` the file counts as empty whatever
  /// it holds, and the first committed change replaces the whole of it. Null, with the code, on failure; a
  /// file that is no database opens. All later calls together wait for other processes until `deadline`.
  static std::unique_ptr<SqliteConnection> openFile(const std::string& path, Contents contents,
                                                    SqliteDeadline deadline, int& code);
  /// A database in memory; null on failure.
  static std::unique_ptr<SqliteConnection> openMemory(int& code);

  /// Runs statements that give no rows.
  int execute(const std::string& sql);
  /// Takes a column's text, which is SQLite's and lasts as long as the call. A column without text is empty.
  using Column = std::function<void(const char*)>;
  /// Runs one statement with bound texts, which may not be null; `take` gets a row's first column, if it is
  /// given. SQLITE_ROW or SQLITE_DONE on success.
  int query(const std::string& sql, std::initializer_list<const char*> texts, const Column& take = {});
  /// Replaces all of this database by a copy of `source`, in one transaction.
  int copyFrom(SqliteConnection& source);
  /// True for a failure that lies in what the file holds or lacks, false for one that lies in the disk, the
  /// rights, other processes, memory or the value.
  [[nodiscard]] bool liesInContents(int code) const;

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
  };
  using Handle = std::unique_ptr<sqlite3, Close>;
  explicit SqliteConnection(Handle handle) : handle_(std::move(handle)) {}

  static std::unique_ptr<SqliteConnection> open(const char* name, int& code);
  static int waitForOthers(void* self, int formerWaits);
  int setUp();
  int apply(const char* pragma);
  int leaveWriteAheadMode();

  Handle handle_;
  SqliteDeadline deadline_ = SqliteDeadline::max();
  bool isWriteProtected_ = false;
};

/// A transaction that is rolled back unless it was committed.
class SqliteTransaction {
 public:
  explicit SqliteTransaction(SqliteConnection& connection) : connection_(connection) {}
  ~SqliteTransaction();
  SqliteTransaction(const SqliteTransaction&) = delete;
  SqliteTransaction& operator=(const SqliteTransaction&) = delete;

  /// Takes the right to write at once, so that two writers wait for each other instead of failing later.
  int begin();
  int commit();

 private:
  SqliteConnection& connection_;
  bool open_ = false;
};

}  // namespace KBL
