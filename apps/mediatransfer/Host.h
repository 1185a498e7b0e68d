#pragma once

#include "DataFolders.h"
#include "Events.h"
#include "LoginFile.h"
#include "Options.h"
#include "Report.h"
#include "ScriptLogins.h"
#include "authorize/switchboard/IBsExternlMediaAuthorize.h"
#include "foundation/object/RefPtr.h"

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

  [[nodiscard]] KBL::IBsExternlMediaAuthorize& manager() { return *manager_; }

  /// Sets up what transfers need, until the host ends; once is enough. Transfers made afterwards must end
  /// before it.
  void openTransfers();

  /// The stored login of the platform's script.
  [[nodiscard]] ScriptLogins scriptLogins() const;

  /// Where a login page of the stand-in servers leads without a person; empty when nowhere.
  [[nodiscard]] std::string redirectOf(const std::string& url) const;

  /// Address of the stand-in servers of this process; empty without them.
  [[nodiscard]] std::string sandboxUrl() const;

  /// Whether the platform's logins have been written since the manager was made.
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
  void openServers();
  void tellScripts();
  void openManager();
  void setPublicInformation();
  void setProxy();

  const Options& options_;
  Report& report_;
  DataFolders folders_;
  std::unique_ptr<LoginFile> loginFile_;  ///< null for commands without a platform
  std::unique_ptr<sandbox::Sandbox> sandbox_;
  std::unique_ptr<sandbox::ScriptServicesFile> scriptServices_;
  KBL::RefPtr<KBL::IBsExternlMediaAuthorize> manager_;
  bool transfersOpen_ = false;
};

}  // namespace host
