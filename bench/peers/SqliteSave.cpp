#include "SqliteSave.h"

#include <sqlite3.h>

bool saveBySqlite(const std::string& path, const std::string& text) {
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  const bool isDone =
      sqlite3_open(path.c_str(), &database) == SQLITE_OK &&
      sqlite3_exec(database,
                   "PRAGMA synchronous=EXTRA; PRAGMA secure_delete=ON; CREATE TABLE IF NOT EXISTS AppSetting "
                   "(key TEXT NOT NULL PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID",
                   nullptr, nullptr, nullptr) == SQLITE_OK &&
      sqlite3_prepare_v2(database, "REPLACE INTO AppSetting VALUES ('Authorize', ?1)", -1, &statement,
                         nullptr) == SQLITE_OK &&
      sqlite3_bind_text(statement, 1, text.c_str(), -1, SQLITE_STATIC) == SQLITE_OK &&
      sqlite3_step(statement) == SQLITE_DONE;
  sqlite3_finalize(statement);
  sqlite3_close(database);
  return isDone;
}
