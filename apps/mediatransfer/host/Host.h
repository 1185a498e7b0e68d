#pragma once

#include "host/DataFolders.h"
#include "host/LoginFile.h"
#include "host/LoginLock.h"
#include "host/LoginOrigin.h"
#include "host/ScriptLogins.h"
#include "options/Options.h"
#include "report/Events.h"
#include "report/Report.h"
#include <ExternlMediaTransfer/IBsExternlMediaAuthorize.h>
#include <KblUtils/RefPtr.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace sandbox {
class ScriptServicesFile;
class Sandbox;
}  // namespace sandbox

namespace host {

/// Which servers a command talks to.
enum class Servers {
  needed,
  optional,  ///< those that are configured; the services' public ones otherwise
  none
};

/// The program as a host of the library: logger, cipher key, servers and, for commands with a platform, its
/// authorization manager. Its end releases the manager before the stand-in servers stop. One of them at a
/// time.
class Host {
 public:
  using Clock = std::chrono::steady_clock;

  /// Throws Failure when something that the options ask for cannot be had.
  Host(const Options& options, Report& report, Servers servers);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// Whether there is a file of the platform's logins at all, which a host would make.
  [[nodiscard]] static bool hasLogins(const Options& options);

  [[nodiscard]] KBL::IBsExternlMediaAuthorize& manager() { return *manager_; }
  [[nodiscard]] Report& report() { return report_; }

  /// Sets up what transfers need, until the host ends; once is enough. Transfers made afterwards must end
  /// before it.
  void openTransfers();

  /// From here on no other command renews the platform's login, until `unlockLogins` or the host's end. Waits
  /// for those that do, and throws Failure when that takes too long. The commands of a manager that change a
  /// login begin with the lock taken and the logins read inside it; a script's are read and stored inside it
  /// by the command.
  void lockLogins();
  void unlockLogins() { lock_.release(); }
  /// The same once the library has written the logins again, of which `next` takes notice, or has had the
  /// time for it: what it writes is the whole list as it was read, and would undo another command's renewal.
  void unlockLoginsOnceWritten();

  /// Which server the logins of the platform's manager are from.
  [[nodiscard]] LoginOrigin& origin() { return *origin_; }
  /// The server that this command's platform is signed in at, as origins are told; empty when nobody asks
  /// one.
  [[nodiscard]] const std::string& server() const { return server_; }
  /// Throws Failure when `origin`, that of a stored login, is another server than this command's.
  void requireOrigin(const std::string& origin) const;

  /// The stored login of the platform's script.
  [[nodiscard]] ScriptLogins scriptLogins() const;

  /// Where a login page of the stand-in servers leads without a person; empty when nowhere.
  [[nodiscard]] std::string redirectOf(const std::string& url) const;

  /// Address of the stand-in servers of this process; empty without them.
  [[nodiscard]] std::string sandboxUrl() const;
  /// Their cloud configuration, a JSON object; empty without them.
  [[nodiscard]] std::string sandboxConfig() const;

  /// From now on `loginsAreKept` tells whether the platform's logins are written; before, since the manager
  /// was made.
  void watchLogins() { loginFile_->watch(); }
  [[nodiscard]] bool loginsAreKept() const { return loginFile_->isWritten(); }
  /// Where they are kept.
  [[nodiscard]] const std::string& loginPath() const { return loginFile_->path(); }

  /// The user of the manager with this uuid, or the last one when it is empty.
  [[nodiscard]] std::optional<Person> findPerson(const std::string& uuid);

  /// The next event, or nothing when `deadline` has passed or, with `heedInterrupt`, Ctrl-C came.
  [[nodiscard]] std::optional<Event> next(Clock::time_point deadline, bool heedInterrupt = true);

  /// Reports what every command reports alike: addresses, token changes, errors. Answers without an error and
  /// the events of an upload are left to the command.
  void reportShared(const Event& event);

 private:
  [[nodiscard]] bool namesServers() const;
  void installLog();
  void openFolders();
  void findServer();
  [[nodiscard]] std::string scriptServicesServer() const;
  void openServers();
  void tellScripts();
  void openManager();
  void setPublicInformation();
  void setProxy();
  void unlockIfWritten();

  const Options& options_;
  Report& report_;
  DataFolders folders_;
  std::unique_ptr<LoginFile> loginFile_;  ///< null for commands without a platform
  std::unique_ptr<LoginOrigin> origin_;   ///< null for commands without a platform
  std::string server_;
  LoginLock lock_;
  std::optional<Clock::time_point> writingLimit_;  ///< until then the lock waits for the logins to be written
  std::unique_ptr<sandbox::Sandbox> sandbox_;
  std::unique_ptr<sandbox::ScriptServicesFile> scriptServices_;
  KBL::RefPtr<KBL::IBsExternlMediaAuthorize> manager_;
  bool transfersOpen_ = false;
};

}  // namespace host
