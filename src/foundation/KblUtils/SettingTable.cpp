#include "foundation/KblUtils/SettingTable.h"

#include "foundation/Texts.h"

#include <algorithm>
#include <string_view>

namespace KBL {

namespace {

constexpr std::size_t longestName = 64;

/// What names begin with that SQLite keeps for itself.
constexpr std::string_view reserved = "sqlite_";

bool isNameLetter(char letter) {
  return isLetterOrDigit(letter) || letter == '_';
}

}  // namespace

SettingTable::SettingTable(SqliteConnection& connection, const std::string& name)
    : connection_(connection), quotedName_('"' + name + '"') {}

bool SettingTable::isValidName(const char* name) {
  const std::string_view text = textOrEmpty(name);
  if (text.empty() || text.size() > longestName || isDigit(text.front())) return false;
  return std::all_of(text.begin(), text.end(), isNameLetter) &&
         !readsLike(text.substr(0, reserved.size()), reserved);
}

int SettingTable::create() {
  return connection_.execute("CREATE TABLE IF NOT EXISTS main." + quotedName_ +
                             " (key TEXT NOT NULL PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID");
}

int SettingTable::store(const char* key, const char* value) {
  SqliteTransaction transaction(connection_);
  int code = transaction.begin();
  if (code != SQLITE_OK) return code;
  code = create();
  if (code != SQLITE_OK) return code;
  code = connection_.query("INSERT INTO main." + quotedName_ +
                               " (key, value) VALUES (?1, ?2)"
                               " ON CONFLICT (key) DO UPDATE SET value = excluded.value",
                           {key, value}, nullptr);
  if (code != SQLITE_DONE) return code;
  // A damaged file may take a value and not give it back.
  std::optional<std::string> stored;
  code = read(key, stored);
  if (code != SQLITE_OK) return code;
  return stored == value ? transaction.commit() : SQLITE_CORRUPT;
}

int SettingTable::read(const char* key, std::optional<std::string>& value) {
  value.reset();
  std::string text;
  const int code =
      connection_.query("SELECT value FROM main." + quotedName_ + " WHERE key = ?1", {key}, &text);
  if (code == SQLITE_DONE) return SQLITE_OK;
  if (code != SQLITE_ROW) return code;
  value = std::move(text);
  return SQLITE_OK;
}

}  // namespace KBL
