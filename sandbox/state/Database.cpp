#include "sandbox/state/Database.h"

#include <sqlite3.h>

namespace sandbox {

namespace {

/// How long one who has the file is waited for.
constexpr int busyMilliseconds = 10'000;
constexpr int lowByte = 0xFF;

}  // namespace

bool DatabaseError::isDamage() const {
  return code_ == SQLITE_NOTADB || code_ == SQLITE_CORRUPT;
}

Database::Database(const std::string& path) : path_(path) {
  sqlite3* connection = nullptr;
  const int code =
      sqlite3_open_v2(path.c_str(), &connection,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
  connection_.reset(connection);
  check(code);
  check(sqlite3_busy_timeout(connection_.get(), busyMilliseconds));
}

void Database::run(const std::string& sql) {
  check(sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr));
}

std::int64_t Database::numberOf(const std::string& sql) const {
  Statement statement(*this, sql);
  return statement.step() ? statement.number(0) : 0;
}

void Database::check(int code) const {
  if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE) return;
  const char* const text = connection_ ? sqlite3_errmsg(connection_.get()) : sqlite3_errstr(code);
  throw DatabaseError(path_ + ": " + text, code & lowByte);
}

void Database::Close::operator()(sqlite3* connection) const {
  sqlite3_close(connection);
}

Database::Statement::Statement(const Database& database, const std::string& sql) : database_(database) {
  sqlite3_stmt* statement = nullptr;
  database.check(sqlite3_prepare_v2(database.connection_.get(), sql.c_str(), static_cast<int>(sql.size()),
                                    &statement, nullptr));
  statement_.reset(statement);
}

Database::Statement& Database::Statement::bind(int place, const std::string& text) {
  check(
      sqlite3_bind_text64(statement_.get(), place, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
  return *this;
}

Database::Statement& Database::Statement::bind(int place, std::int64_t number) {
  check(sqlite3_bind_int64(statement_.get(), place, number));
  return *this;
}

bool Database::Statement::step() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  sqlite3_reset(statement_.get());
  check(code);
  return false;
}

std::string Database::Statement::text(int column) const {
  const unsigned char* const text = sqlite3_column_text(statement_.get(), column);
  if (!text) return {};
  return {reinterpret_cast<const char*>(text),
          static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

std::int64_t Database::Statement::number(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

void Database::Statement::check(int code) const {
  database_.check(code);
}

void Database::Statement::Finalize::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

Database::Transaction::Transaction(Database& database, Kind kind) : database_(database) {
  database_.run(kind == Kind::write ? "begin immediate" : "begin");
}

Database::Transaction::~Transaction() {
  if (!isOpen_) return;
  try {
    database_.run("rollback");
  } catch (const DatabaseError&) {
    // SQLite has rolled back by itself.
  }
}

void Database::Transaction::commit() {
  database_.run("commit");
  isOpen_ = false;
}

}  // namespace sandbox
