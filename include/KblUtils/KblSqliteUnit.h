#pragma once

#include <KblUtils/Export.h>
#include <KblUtils/Result.h>

#include <chrono>
#include <memory>

namespace KBL {

/// How long a `KblSqliteUnit` waits for other processes, all in all, unless `open` is told another deadline.
inline constexpr std::chrono::milliseconds sqlitePatience{5000};

/// A key and value table in one SQLite file. A save that is interrupted at any instant leaves the old value
/// or the new one; the file is readable by its owner only; two processes that save at once both succeed, the
/// last one wins. One thread at a time.
class KBL_UTILS_API KblSqliteUnit {
 public:
  KblSqliteUnit();
  ~KblSqliteUnit();
  KblSqliteUnit(const KblSqliteUnit&) = delete;
  KblSqliteUnit& operator=(const KblSqliteUnit&) = delete;

  /// Opens the file at a UTF-8 path and makes a missing one. From here to `close` everything together waits
  /// for processes that hold the file until `deadline`; what still needs it then fails.
  _Result open(const char* path,
               std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::now() +
                                                                sqlitePatience);
  _Result close();
  int isOpened();
  _Result createSettingTable(const char* table);
  /// Stores the value. A file that is not a database, or lacks the table, is written anew.
  _Result setSettingValue(const char* table, const char* key, const char* value);
  /// `*value` becomes a copy that the caller ends with `freeSettingValue`. A table without the key gives
  /// resultOk and a null `*value`; a missing table or an unreadable file gives resultFailed.
  _Result getSettingValue(const char* table, const char* key, char** value);
  static void freeSettingValue(char* value);

  /// Whether the last of these operations failed for what the file holds or lacks: it is no database, it is
  /// damaged, the table is missing. Otherwise the file may be good, and a lock, the disk, the rights or short
  /// memory was in the way.
  [[nodiscard]] bool failedByContents() const;
  /// Why the last of these operations failed, in SQLite's words; empty when it succeeded. Never freed.
  [[nodiscard]] const char* failure() const;

 private:
  class Database;
  _Result ended(int code);

  std::unique_ptr<Database> database_;
  int lastCode_ = 0;
  bool liesInContents_ = false;
};

}  // namespace KBL
