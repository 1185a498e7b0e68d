#include "sandbox/state/StateFile.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/system/DiskFile.h"

#include <filesystem>
#include <stdexcept>

namespace sandbox {

namespace {

using Transaction = Database::Transaction;
using Statement = Database::Statement;

/// "sbx1": tells the file from databases of others.
constexpr std::int64_t applicationId = 0x73627831;
constexpr std::int64_t layoutVersion = 1;

void makeFolder(const std::string& folder) {
  std::error_code error;
  const std::filesystem::path place = nativePath(folder);
  if (std::filesystem::create_directories(place, error)) {
    std::filesystem::permissions(place, std::filesystem::perms::owner_all, error);
  }
  if (!std::filesystem::is_directory(place, error))
    throw std::runtime_error("can't use the folder " + folder);
}

std::runtime_error unreadable(const std::string& what) {
  return std::runtime_error("can't read the state in " + what + "; move the file away to begin anew");
}

/// Also what can't be opened, and what leads nowhere.
bool isThere(const std::string& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::symlink_status(nativePath(path), error);
  return status.type() != std::filesystem::file_type::not_found;
}

/// Where the JSON of a former version has the rows of a table.
const Json::Value& formerRows(const Json::Value& former, const std::string& table) {
  static const Json::Value none(Json::objectValue);
  const Json::Value& book = table == "uploads" ? former : former["accounts"];
  if (!book.isObject() || !book[table].isObject()) return none;
  return book[table];
}

}  // namespace

StateFile::StateFile(const std::string& folder, std::vector<StateTable> tables) : tables_(std::move(tables)) {
  if (folder.empty()) return;
  makeFolder(folder);
  const std::string path = folder + "/sandbox.db";
  // Two that begin at once would both make the tables.
  const FileLock lock(folder + "/sandbox.lock");
  makeForOwner(path);
  try {
    open(path, folder + "/sandbox.json");
  } catch (const DatabaseError& error) {
    if (error.isDamage()) throw unreadable(error.what());
    throw;
  }
}

void StateFile::load() {
  if (!database_) return;
  const std::lock_guard lock(mutex_);
  const std::int64_t version = database_->numberOf("pragma data_version");
  if (version == version_) return;
  Transaction transaction(*database_, Transaction::Kind::read);
  takeIn();
  transaction.commit();
  version_ = version;
}

void StateFile::save(const std::function<void()>& change) {
  if (!database_) return change();
  const std::lock_guard lock(mutex_);
  Transaction transaction(*database_, Transaction::Kind::write);
  // First, so that what others ended is not written as good.
  takeIn();
  change();
  const std::int64_t number = seen_ + 1;
  std::vector<std::pair<const StateTable*, std::vector<StateRow>>> taken;
  for (const StateTable& table : tables_) taken.emplace_back(&table, table.take());
  try {
    bool isChanged = false;
    for (const auto& [table, rows] : taken) {
      write(*table, rows, number);
      isChanged = isChanged || !rows.empty();
    }
    if (isChanged) Statement(*database_, "update counter set change = ?").bind(1, number).step();
    transaction.commit();
    if (isChanged) seen_ = number;
  } catch (...) {
    for (const auto& [table, rows] : taken) table->putBack(rows);
    throw;
  }
}

void StateFile::open(const std::string& path, const std::string& formerPath) {
  database_ = std::make_unique<Database>(path);
  // Ahead of all that writes: a database of somebody else's stays as it is, to the byte.
  const bool isNew = database_->numberOf("select count(*) from sqlite_master") == 0;
  if (!isNew) refuseStrangers(path);
  // Readers and a writer don't wait for each other, and a transaction costs no wait for the disk.
  database_->run("pragma journal_mode = wal; pragma synchronous = normal");
  Transaction transaction(*database_, Transaction::Kind::write);
  if (isNew) makeTables();
  const bool hasFormer = takeOver(formerPath);
  const std::vector<std::vector<std::string>> over = takeIn();
  for (std::size_t at = 0; at < tables_.size(); ++at) removeWhatIsOver(tables_[at].name, over[at]);
  transaction.commit();
  if (!hasFormer) return;
  // Only now: what is committed is in the database, what is not would be in neither.
  std::error_code ignored;
  std::filesystem::remove(nativePath(formerPath), ignored);
}

void StateFile::refuseStrangers(const std::string& path) const {
  if (database_->numberOf("pragma application_id") != applicationId)
    throw unreadable(path + ": it is a database of another program");
  if (database_->numberOf("pragma user_version") > layoutVersion)
    throw unreadable(path + ": a later version of the sandbox wrote it");
}

void StateFile::makeTables() {
  database_->run("pragma application_id = " + std::to_string(applicationId) +
                 "; pragma user_version = " + std::to_string(layoutVersion) +
                 "; create table counter(change integer not null); insert into counter values(0)");
  for (const StateTable& table : tables_) {
    database_->run("create table " + table.name +
                   "(id text primary key, change integer not null, record text not null) without rowid;"
                   "create index " +
                   table.name + "_by_change on " + table.name + "(change)");
  }
}

bool StateFile::takeOver(const std::string& formerPath) {
  const std::optional<std::string> text = contentsOf(formerPath);
  if (!text && isThere(formerPath)) throw unreadable(formerPath + ": it can't be opened");
  if (!text) return false;
  const std::optional<Json::Value> former = parseJson(*text);
  if (!former || !former->isObject()) throw unreadable(formerPath + ": it is no JSON object");
  const std::int64_t change = database_->numberOf("select change from counter") + 1;
  for (const StateTable& table : tables_) {
    Statement insert(*database_, "insert or ignore into " + table.name + " values(?, ?, ?)");
    const Json::Value& rows = formerRows(*former, table.name);
    for (const std::string& id : rows.getMemberNames())
      insert.bind(1, id).bind(2, change).bind(3, compactJson(rows[id])).step();
  }
  Statement(*database_, "update counter set change = ?").bind(1, change).step();
  return true;
}

std::vector<std::vector<std::string>> StateFile::takeIn() {
  std::vector<std::vector<std::string>> over;
  for (const StateTable& table : tables_) {
    std::vector<std::string>& ids = over.emplace_back();
    Statement select(*database_, "select id, record from " + table.name + " where change > ?");
    select.bind(1, seen_);
    while (select.step()) {
      const StateRow row{select.text(0), parseJson(select.text(1)).value_or(Json::Value())};
      if (row.record.isObject() && !table.merge(row)) ids.push_back(row.id);
    }
  }
  seen_ = database_->numberOf("select change from counter");
  return over;
}

void StateFile::removeWhatIsOver(const std::string& table, const std::vector<std::string>& ids) {
  Statement remove(*database_, "delete from " + table + " where id = ?");
  for (const std::string& id : ids) remove.bind(1, id).step();
}

void StateFile::write(const StateTable& table, const std::vector<StateRow>& rows, std::int64_t change) {
  if (rows.empty()) return;
  Statement insert(*database_, "insert or replace into " + table.name + " values(?, ?, ?)");
  for (const StateRow& row : rows)
    insert.bind(1, row.id).bind(2, change).bind(3, compactJson(row.record)).step();
}

}  // namespace sandbox
