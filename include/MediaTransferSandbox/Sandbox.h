#pragma once

// The stand-in servers for a host's own tests: every server that the library talks to, on 127.0.0.1, in
// threads of this process. No network, no accounts. Link ExternlMediaTransfer::Sandbox.
//
//   mediatransfer::Sandbox servers;
//   KBL::setCloudConfig(servers.cloudConfig());
//   ... sign in and upload ...
//   assert(servers.waitForUploads(1, 30s) && servers.uploads().front().sha256 == expected);
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mediatransfer {

/// How logins are answered.
enum class Consent {
  allow,  ///< at once, for the chosen user
  ask,    ///< by Sandbox::allow and Sandbox::deny, or by a person on the page of the login
  deny,   ///< at once
  never   ///< not at all
};

struct SandboxSettings {
  int port = 0;               ///< 0 takes a free one
  std::string stateFolder{};  ///< keeps users, tokens and uploads for a later one; empty: nothing is kept
  Consent consent = Consent::allow;
  std::string appSecret = "sandbox-app-secret";  ///< of the application; empty accepts any
  std::string appId = "sandbox-app-id";          ///< of scripted platforms; empty accepts any
  /// Where logins of scripted platforms may end; empty accepts any web address.
  std::string appRedirect = "http://localhost/mediatransfer/signed-in";
  std::chrono::seconds tokenLifetime{3600};  ///< of platform access tokens
  /// A page for people at Sandbox::address; costs what it keeps of each exchange.
  bool page = false;
};

/// A made-up person who can sign in.
struct SandboxUser {
  std::string id;  ///< the account id at every platform
  std::string email;
  std::string name;
};

/// What goes wrong with requests: which, and how.
struct SandboxFault {
  std::string route;   ///< of Sandbox::faultRoutes
  std::string kind;    ///< of Sandbox::faultKinds
  unsigned nth = 1;    ///< the first one that is disturbed, counted from the order on
  unsigned times = 1;  ///< and so many in a row; 0: all that follow
  // What the kind wants to know beyond that; the document of the sandbox tells which.
  std::uint64_t bytes = 0;
  std::chrono::milliseconds delay{0};
  int code = 200;      ///< a status
  std::string text{};  ///< a body, or a JSON text
  std::string contentType = "application/json";
  std::string path{};  ///< of a member of the answer: "data.expires_in"
  std::map<std::string, std::string> headers{};
};

/// One upload that a stand-in took in, or is taking in.
struct SandboxUpload {
  std::string service;   ///< "youtube", "tiktok" and so on
  std::string mediaId;   ///< of the video
  std::string user;      ///< the id of whose it is
  std::string fileName;  ///< where the service is told one
  std::string metadata;  ///< JSON text of what was said about the video
  std::uint64_t announcedSize = 0;
  std::uint64_t size = 0;  ///< bytes that came
  std::string sha256;      ///< of them, in hexadecimal; empty until the upload is complete
  bool isComplete = false;
};

/// One request that arrived.
struct SandboxRequest {
  std::string route;   ///< of Sandbox::faultRoutes
  std::string method;  ///< "GET"
  std::string target;  ///< path and query
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;  ///< its first 64 KiB
  std::uint64_t bodySize = 0;
  int status = 0;  ///< of the answer; 0 while there is none
};

/// The servers. Any thread. Values are copies of the moment; waits return false (or nothing) when `limit` has
/// passed or the servers ended.
class Sandbox {
 public:
  /// Listens when it returns. Throws std::runtime_error where the port is taken or the folder can't be used.
  explicit Sandbox(const SandboxSettings& settings = {});
  /// Stops.
  ~Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  /// Ends every connection and all threads, within a second; for good.
  void stop();
  /// false: connections are refused, as of a server that is down; true: served again, at the same port.
  void setListening(bool listening);

  /// "http://127.0.0.1:PORT"
  [[nodiscard]] std::string address() const;
  [[nodiscard]] int port() const;
  /// What KBL::setCloudConfig takes: address by key.
  [[nodiscard]] std::map<std::string, std::string> cloudConfig() const;
  /// The same as text of a file for KBL::loadCloudConfig or `mediatransfer --cloud-config`.
  [[nodiscard]] std::string cloudConfigText() const;
  /// The text of a file that the environment variable MEDIATRANSFER_SERVICES names to scripts.
  [[nodiscard]] std::string scriptServicesText() const;

  [[nodiscard]] std::vector<SandboxUser> users() const;
  /// For whom the coming logins are; the first user until then. False for an unknown id.
  bool chooseUser(const std::string& id);
  void setConsent(Consent consent);
  /// The oldest login that nobody has answered.
  [[nodiscard]] std::optional<std::string> waitForPendingLogin(std::chrono::milliseconds limit);
  /// Answer it, for the chosen user where none is named. False when it is not pending, or for unknown ids.
  bool allow(const std::string& login, const std::string& user = {});
  bool deny(const std::string& login);

  /// Access tokens of the user, of all without one, are refused from now on; refresh tokens stay good.
  void expireAccessTokens(const std::string& user = {});
  /// Refresh tokens are refused, too.
  void revokeTokens(const std::string& user = {});

  /// In the order of their beginning.
  [[nodiscard]] std::vector<SandboxUpload> uploads() const;
  /// Until so many are complete.
  bool waitForUploads(std::size_t count, std::chrono::milliseconds limit);
  /// In the order of arrival, those of one route alone where it is named. Throws std::invalid_argument for a
  /// name that is none, as all that take one.
  [[nodiscard]] std::vector<SandboxRequest> requests(const std::string& route = {}) const;
  /// Until so many of the route have been read to their end, or were ended by a fault.
  bool waitForRequests(const std::string& route, std::size_t count, std::chrono::milliseconds limit);

  /// The names of all kinds of requests, as "youtubeUploadChunk".
  [[nodiscard]] static std::vector<std::string> faultRoutes();
  /// The names of all that can go wrong, as "resetAnswerAfter".
  [[nodiscard]] static std::vector<std::string> faultKinds();
  /// Orders a fault, and names the order.
  std::uint64_t orderFault(const SandboxFault& fault);
  /// How often it really happened: a test that orders a fault looks at this at its end.
  [[nodiscard]] unsigned faultsDelivered(std::uint64_t order) const;
  bool waitForFaults(std::uint64_t order, unsigned count, std::chrono::milliseconds limit);
  /// Requests that a fault holds up go on.
  void releaseStalls();
  /// Withdraws all orders; counts stay.
  void clearFaults();

 private:
  class Servers;
  std::unique_ptr<Servers> servers_;
};

}  // namespace mediatransfer
