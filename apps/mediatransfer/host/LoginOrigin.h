#pragma once

#include <set>
#include <string>

namespace host {

/// Throws Failure when `origin`, that of a stored login, is known and is not `server`. `signIn` is the
/// command that mends it.
void requireSameServer(const std::string& origin, const std::string& server, const std::string& signIn);

/// Remembers which account server a platform's logins are from, in a file beside them, so that no token
/// travels to another one. The library's own file has no place for it.
class LoginOrigin {
 public:
  /// `server` is the one that this command uses; empty: none.
  LoginOrigin(std::string path, std::string server);

  /// Throws Failure when the logins may be from another server than this command's. `signIn` is the command
  /// that mends it. Logins without a record are this server's from now on.
  void require(const std::string& signIn) const;

  /// A login at this server begins. Until its end is known the logins may be from the former server or from
  /// this one, and no command takes them.
  void begin();
  /// The login is stored.
  void keep() const;
  /// The login has failed and left the stored one as it was.
  void putBack() const;

  /// Nobody is signed in any more.
  void forget() const;
  /// As it is kept, for people; empty: not known, or in doubt.
  [[nodiscard]] std::string kept() const;

 private:
  [[nodiscard]] std::set<std::string> read() const;
  void write(const std::set<std::string>& servers) const;

  std::string path_;
  std::string server_;
  std::set<std::string> former_;
};

}  // namespace host
