#pragma once

#include "foundation/KblUtils/SqliteConnection.h"

#include <optional>
#include <string>

namespace KBL {

/// The statements on one table of keys and values. Results are SQLite's codes.
class SettingTable {
 public:
  /// `name` must be a valid one.
  SettingTable(SqliteConnection& connection, const std::string& name);

  /// Letters, digits and underscores, 64 at most, not starting with a digit nor with what SQLite keeps for
  /// itself.
  static bool isValidName(const char* name);

  /// Makes the table unless it is there.
  int create();
  /// Makes the table if need be and stores the value, in one transaction.
  int store(const char* key, const char* value);
  /// `value` stays empty when the key is absent.
  int read(const char* key, std::optional<std::string>& value);

 private:
  int readColumn(const char* key, const SqliteConnection::Column& take);

  SqliteConnection& connection_;
  std::string quotedName_;
};

}  // namespace KBL
