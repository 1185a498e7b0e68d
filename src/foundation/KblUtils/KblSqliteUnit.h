#pragma once

#include "foundation/BsNet/Result.h"
#include "foundation/object/Export.h"

#include <memory>

namespace KBL {

/// A key and value table in one SQLite file. A save that is interrupted at any instant leaves the old value
/// or the new one; the file is readable by its owner only; two processes that save at once both succeed, the
/// last one wins. One thread at a time.
class KBL_UTILS_API KblSqliteUnit {
 public:
  KblSqliteUnit();
  ~KblSqliteUnit();
  KblSqliteUnit(const KblSqliteUnit&) = delete;
  KblSqliteUnit& operator=(const KblSqliteUnit&) = delete;

  /// Opens the file at a UTF-8 path and makes a missing one.
  _Result open(const char* path);
  _Result close();
  int isOpened();
  _Result createSettingTable(const char* table);
  /// Stores the value. A file that is not a database, or lacks the table, is written anew.
  _Result setSettingValue(const char* table, const char* key, const char* value);
  /// `*value` becomes a copy that the caller ends with `freeSettingValue`. A table without the key gives
  /// resultOk and a null `*value`; a missing table or an unreadable file gives resultFailed.
  _Result getSettingValue(const char* table, const char* key, char** value);
  static void freeSettingValue(char* value);

 private:
  class Database;
  std::unique_ptr<Database> database_;
};

}  // namespace KBL
