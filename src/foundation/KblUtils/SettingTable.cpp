#include "foundation/KblUtils/SettingTable.h"

#include "foundation/Texts.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace KBL {

namespace {

constexpr std::size_t longestName = 64;

/// The sign makes SQLite look at each key: by its index it would read a whole former value to find the place.
constexpr const char* whereKey = " WHERE +key = ?1";

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
  // What the key had goes first, so that the new value takes its pages and the file does not grow.
  code = connection_.query("DELETE FROM main." + quotedName_ + whereKey, {key});
  if (code != SQLITE_DONE) return code;
  code = connection_.query("INSERT INTO main." + quotedName_ + " (key, value) VALUES (?1, ?2)", {key, value});
  if (code != SQLITE_DONE) return code;
  // A damaged file may take a value and not give it back.
  bool isKept = false;
  code = readColumn(key, [&](const char* stored) { isKept = std::strcmp(stored, value) == 0; });
  if (code != SQLITE_OK) return code;
  return isKept ? transaction.commit() : SQLITE_CORRUPT;
}

int SettingTable::read(const char* key, std::optional<std::string>& value) {
  value.reset();
  return readColumn(key, [&](const char* stored) { value = stored; });
}

int SettingTable::readColumn(const char* key, const SqliteConnection::Column& take) {
  const int code = connection_.query("SELECT value FROM main." + quotedName_ + whereKey, {key}, take);
  return code == SQLITE_DONE || code == SQLITE_ROW ? SQLITE_OK : code;
}

}  // namespace KBL
