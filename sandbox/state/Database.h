#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace sandbox {

/// What SQLite says, with the file's path in front.
class DatabaseError : public std::runtime_error {
 public:
  DatabaseError(const std::string& text, int code) : std::runtime_error(text), code_(code) {}
  /// The file is no database, or its contents are damaged.
  [[nodiscard]] bool isDamage() const;

 private:
  int code_;
};

/// One connection to an SQLite file, for one thread at a time. All operations throw DatabaseError. Others who
/// have the file at the same moment are waited for.
class Database {
 public:
  /// The file has to be there.
  explicit Database(const std::string& path);

  class Statement {
   public:
    Statement(const Database& database, const std::string& sql);
    Statement& bind(int place, const std::string& text);
    Statement& bind(int place, std::int64_t number);
    /// True as long as there is a row; afterwards the statement can be bound and stepped anew.
    bool step();
    [[nodiscard]] std::string text(int column) const;
    [[nodiscard]] std::int64_t number(int column) const;

   private:
    struct Finalize {
      void operator()(sqlite3_stmt* statement) const;
    };
    void check(int code) const;

    const Database& database_;
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
  };

  /// Statements without results, as many as there are.
  void run(const std::string& sql);
  /// The one number that a question has for an answer.
  [[nodiscard]] std::int64_t numberOf(const std::string& sql) const;

  /// Other writers wait until the end of the scope. What is not committed has not happened.
  class Transaction {
   public:
    enum class Kind { read, write };
    Transaction(Database& database, Kind kind);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

   private:
    Database& database_;
    bool isOpen_ = true;
  };

 private:
  struct Close {
    void operator()(sqlite3* connection) const;
  };
  void check(int code) const;

  const std::string path_;
  std::unique_ptr<sqlite3, Close> connection_;
};

}  // namespace sandbox
