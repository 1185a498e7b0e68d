#pragma once

#include "report/Events.h"

#include <optional>
#include <string>

namespace host {

/// What is kept of a login that a script made.
struct ScriptLogin {
  std::string user;   ///< uuid, given at the first login
  std::string token;  ///< opaque; for Command 6
  std::string name;
  std::string categories;  ///< titles, each followed by "|"
  std::string origin;      ///< of the services that it is from; empty: not known
};

/// The one stored login of a scripted platform: a file of its own in the cache folder, enciphered by the
/// foundation, for its owner only.
class ScriptLogins {
 public:
  ScriptLogins(const std::string& cacheFolder, const std::string& platform);

  /// Nothing without a login, and for a file that is damaged or was made with another key.
  [[nodiscard]] std::optional<ScriptLogin> load() const;
  /// Throws Failure when it cannot be kept.
  void save(const ScriptLogin& login) const;
  /// True when there was one.
  bool forget() const;

 private:
  std::string path_;
};

[[nodiscard]] Person personOf(const ScriptLogin& login);
/// A new uuid.
[[nodiscard]] std::string newUserUuid();

}  // namespace host
