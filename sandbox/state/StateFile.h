#pragma once

#include <json/value.h>

#include <functional>
#include <mutex>
#include <string>

namespace sandbox {

/// The state folder's file. Several processes may share the folder: each write first takes in what the file
/// holds, under a lock between processes, and replaces the file whole, so that it is never seen half written.
/// Thread-safe.
class StateFile {
 public:
  using Merge = std::function<void(const Json::Value& kept)>;
  using Collect = std::function<Json::Value()>;

  /// Makes the folder, for its owner only. Throws std::runtime_error when it can't be used. An empty `folder`
  /// keeps nothing, and both operations do nothing.
  StateFile(const std::string& folder, Merge merge, Collect collect);

  /// Takes in what the file holds. A file that can't be read as JSON counts as empty.
  void load();
  /// Writes what `collect` gives, after a load.
  void save();

 private:
  void loadUnlocked() const;
  void replace(const std::string& text) const;

  const std::string folder_;
  const std::string path_;
  const Merge merge_;
  const Collect collect_;
  std::mutex mutex_;
};

}  // namespace sandbox
