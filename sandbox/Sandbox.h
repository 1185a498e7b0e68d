#pragma once

#include "sandbox/base/Account.h"
#include "sandbox/base/ExchangeRecord.h"
#include "sandbox/base/Fault.h"
#include "sandbox/base/RecordedRequest.h"
#include "sandbox/base/Route.h"
#include "sandbox/base/SandboxOptions.h"
#include "sandbox/base/UploadRecord.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sandbox {

/// The stand-in for every server that the library talks to, on 127.0.0.1, in threads of its own.
/// Every operation may be called from any thread while exchanges run. Values are copies of the moment.
/// Waits end at once when their condition holds, and return false (or nothing) when `limit` passed or the
/// sandbox stopped.
class Sandbox {
 public:
  /// Listens when it returns. Throws std::runtime_error when the port is taken or the state folder can't be
  /// used.
  explicit Sandbox(SandboxOptions options = {});
  /// Stops.
  ~Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  /// Ends every connection, stalled ones included, joins all threads and saves the state. Within a second;
  /// for good.
  void stop();

  // --- Addresses
  // ---------------------------------------------------------------------------------------------------

  /// "http://127.0.0.1:PORT" (https with tls), without a slash at the end.
  [[nodiscard]] std::string baseUrl() const;
  [[nodiscard]] int port() const;
  /// URL key -> URL, for every service of the library's cloud configuration.
  [[nodiscard]] std::map<std::string, std::string> cloudConfig() const;
  /// The same as a JSON object, the form that `mediatransfer --cloud-config` reads.
  [[nodiscard]] std::string cloudConfigJson() const;
  /// Key -> URL of every service that the uploader scripts talk to; the keys are those of the scripts' table.
  [[nodiscard]] std::map<std::string, std::string> scriptServices() const;
  /// The same as a JSON object, the form of the file that MEDIATRANSFER_SERVICES names.
  [[nodiscard]] std::string scriptServicesJson() const;
  /// PEM file of the authority that signed the certificate; empty without tls. Removed with the sandbox
  /// unless it lies in a state folder.
  [[nodiscard]] std::string caFile() const;
  /// false: the port is closed, so that new connections are refused by the system and open ones end; true:
  /// open again, on the same port, with all state kept.
  void setListening(bool listening);

  // --- Users and consent
  // -------------------------------------------------------------------------------------------

  [[nodiscard]] std::vector<User> users() const;
  /// Replaces the user of the same open id.
  void addUser(const User& user);
  /// Who allows the coming logins when nobody says otherwise; the first user until set. False for an unknown
  /// open id.
  bool chooseUser(const std::string& openId);

  void setConsent(Consent consent);
  void setPollsBeforeConsent(unsigned polls);
  [[nodiscard]] std::vector<LoginSession> loginSessions() const;
  /// The id of the oldest login that nobody has decided.
  [[nodiscard]] std::optional<std::string> waitForPendingLogin(std::chrono::milliseconds limit);
  /// Decide a login as the person on the page does. An empty open id is the chosen user. False for an unknown
  /// session or user, or one that is decided.
  bool allow(const std::string& sessionId, const std::string& openId = {});
  bool deny(const std::string& sessionId);

  // --- Tokens
  // ------------------------------------------------------------------------------------------------------

  /// Tokens as a login would have brought them, for tests that start from a signed-in user. An empty open id
  /// is the chosen user.
  IssuedTokens issueTokens(Platform platform, const std::string& openId = {});
  std::string issueAccountToken();
  /// Holds for tokens issued from now on.
  void setTokenLifetime(std::chrono::seconds lifetime);
  /// Access tokens of the user (of all users when empty) are refused from now on; refresh tokens stay good.
  void expireAccessTokens(const std::string& openId = {});
  void expireAccountTokens();
  /// Access and refresh tokens of the user (of all when empty) are refused from now on.
  void revokeTokens(const std::string& openId = {});
  [[nodiscard]] std::optional<TokenState> token(const std::string& text) const;

  // --- What was received
  // -------------------------------------------------------------------------------------------

  /// In the order of arrival. A request stands here from the moment its headers have arrived.
  [[nodiscard]] std::vector<RecordedRequest> requests() const;
  [[nodiscard]] std::vector<RecordedRequest> requests(Route route) const;
  /// Requests of the route that arrived so far, dropped and cleared ones included.
  [[nodiscard]] std::size_t requestCount(Route route) const;
  /// Until `count` requests of the route were read to their end, or were stopped by a fault.
  bool waitForRequests(Route route, std::size_t count, std::chrono::milliseconds limit);
  /// Forgets the recorded requests; counts stay.
  void clearRequests();
  /// Connections taken so far, and those open now.
  [[nodiscard]] std::size_t connectionCount() const;
  [[nodiscard]] std::size_t openConnections() const;

  /// What has begun or ended since a former look, with SandboxOptions::page alone; the latest thousand.
  [[nodiscard]] ExchangeNews exchangesSince(std::uint64_t change) const;

  /// In the order of opening.
  [[nodiscard]] std::vector<UploadRecord> uploads() const;
  [[nodiscard]] std::optional<UploadRecord> uploadByMediaId(const std::string& mediaId) const;
  /// Until `count` uploads are complete.
  bool waitForUploads(std::size_t count, std::chrono::milliseconds limit);

  // --- Faults
  // ------------------------------------------------------------------------------------------------------

  /// Disturbs the nth request of the route, counted from 1 at the time of the order, and the `times` - 1 that
  /// follow it (0: all that follow). Where two orders meet on one request, the older is delivered and the
  /// younger waits for the next. Throws std::invalid_argument for one that can never happen (`mistakeIn`).
  FaultId orderFault(Route route, Fault fault, unsigned nth = 1, unsigned times = 1);
  /// How often the order was carried out. A test that orders a fault checks this at its end.
  [[nodiscard]] unsigned faultsDelivered(FaultId id) const;
  /// Of all orders together.
  [[nodiscard]] unsigned faultsDelivered() const;
  /// Deliveries that are ordered and have not happened; an order for all requests counts until it happened
  /// once.
  [[nodiscard]] unsigned faultsOutstanding() const;
  bool waitForFaults(FaultId id, unsigned count, std::chrono::milliseconds limit);
  /// Stalled exchanges go on.
  void releaseStalls();
  /// Withdraws all orders; counts of delivery stay.
  void clearFaults();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace sandbox
