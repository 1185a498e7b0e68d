#pragma once

#include "sandbox/base/SandboxOptions.h"
#include "sandbox/server/ExchangeJournal.h"
#include "sandbox/server/FaultBook.h"
#include "sandbox/server/RequestLog.h"
#include "sandbox/server/Router.h"
#include "sandbox/state/AccountBook.h"
#include "sandbox/state/ArrivalBook.h"
#include "sandbox/state/OauthGrants.h"
#include "sandbox/state/StateFile.h"
#include "sandbox/state/UploadBook.h"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sandbox {

/// What all services share. Outlives them.
struct ServiceContext {
  const SandboxOptions& options;
  AccountBook& accounts;
  OauthGrants& grants;
  UploadBook& uploads;
  FaultBook& faults;
  RequestLog& log;
  ExchangeJournal* journal;  ///< null without a page for people
  StateFile& state;
  ArrivalBook* arrivals;  ///< null without a page for people
  std::string baseUrl;
  std::map<std::string, std::string> cloudConfig;
  std::map<std::string, std::string> scriptServices;

  [[nodiscard]] std::string cloudConfigJson() const;
  [[nodiscard]] std::string scriptServicesJson() const;

  /// All look into the state folder first: another process may have brought the token or the user meanwhile,
  /// or ended the token.
  [[nodiscard]] bool isGoodAccountToken(const std::string& token) const;
  [[nodiscard]] std::optional<User> userOf(const std::string& accessToken, Platform platform) const;
  [[nodiscard]] std::optional<TokenState> token(const std::string& text) const;
  [[nodiscard]] bool knowsUser(const std::string& openId) const;
  /// AccountBook::refresh, for one alone of all processes that share the state folder.
  [[nodiscard]] std::optional<IssuedTokens> spend(const std::string& refreshToken) const;

  /// Where the bytes of a video go besides, for people who look on: of an upload that is known, ...
  [[nodiscard]] Arrival arrivalOf(const UploadRecord& upload) const;
  /// ... and of one that comes in one request, whose record is made at its end and gets the arrival's upload
  /// id.
  [[nodiscard]] Arrival newArrival(const std::string& service, std::uint64_t announced) const;
};

/// One stand-in. A new one is a class of its own, a line in makeServices and its rows in Route.
class Service {
 public:
  virtual ~Service() = default;
  virtual void addTo(Router& router) = 0;
  /// Keys of the cloud configuration and the paths they lead to.
  [[nodiscard]] virtual std::vector<std::pair<std::string, std::string>> urlKeys() const { return {}; }
  /// Keys of the scripts' table of services and the paths they lead to.
  [[nodiscard]] virtual std::vector<std::pair<std::string, std::string>> scriptKeys() const { return {}; }
};

}  // namespace sandbox
