#pragma once

#include "sandbox/state/Database.h"
#include "sandbox/state/StateTable.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// The state folder's file, an SQLite database with a table a book. What changed is written by the row, in
/// one transaction: who ends in its middle, or loses the power, finds the rows of before. Several processes
/// may share the folder: each takes in what the others wrote since it looked last. Thread-safe.
class StateFile {
 public:
  /// Makes the folder, for its owner only, and takes in what the file holds. What a former version of the
  /// sandbox kept as JSON is taken over, and its file removed. Throws std::runtime_error when the folder
  /// can't be used, or a file in it can't be read: that is for people to decide. An empty `folder` keeps
  /// nothing, and both operations do nothing.
  StateFile(const std::string& folder, std::vector<StateTable> tables);

  /// Takes in what others wrote.
  void load();
  /// The same, and writes what the books have that is new. Throws std::runtime_error when that fails; the
  /// books then keep it for the next time. Before anything is written the books are changed by `change`,
  /// which knows what all others wrote: nobody else writes meanwhile.
  void save(const std::function<void()>& change = [] {});

 private:
  void open(const std::string& path, const std::string& formerPath);
  void refuseStrangers(const std::string& path) const;
  void makeTables();
  /// False where there is no such file.
  bool takeOver(const std::string& formerPath);
  void removeWhatIsOver(const std::string& table, const std::vector<std::string>& ids);
  /// Within a transaction. Returns the ids that need not be kept, a list a table.
  std::vector<std::vector<std::string>> takeIn();
  void write(const StateTable& table, const std::vector<StateRow>& rows, std::int64_t change);

  const std::vector<StateTable> tables_;
  std::mutex mutex_;
  std::unique_ptr<Database> database_;  ///< null without a folder
  std::int64_t seen_ = -1;              ///< the latest change that is known
  std::int64_t version_ = -1;           ///< SQLite's number for what others wrote
};

}  // namespace sandbox
