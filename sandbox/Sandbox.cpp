#include "sandbox/Sandbox.h"

#include "sandbox/AllServices.h"
#include "sandbox/base/JsonText.h"
#include "sandbox/base/Text.h"
#include "sandbox/server/ExchangeJournal.h"
#include "sandbox/server/FaultBook.h"
#include "sandbox/server/HttpServer.h"
#include "sandbox/server/RequestLog.h"
#include "sandbox/server/Router.h"
#include "sandbox/server/TlsContext.h"
#include "sandbox/state/AccountBook.h"
#include "sandbox/state/ArrivalBook.h"
#include "sandbox/state/StateFile.h"
#include "sandbox/state/UploadBook.h"
#include "sandbox/system/DiskFile.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace sandbox {

namespace {

std::string writeAuthority(const std::string& stateDir, const std::string& pem) {
  const std::string folder = stateDir.empty() ? utf8Of(std::filesystem::temp_directory_path()) : stateDir;
  const std::string name =
      stateDir.empty() ? "sandbox-authority-" + randomText(12) + ".pem" : "authority.pem";
  std::string path = folder + "/" + name;
  writeFile(path, pem);
  return path;
}

}  // namespace

class Sandbox::Impl {
 public:
  explicit Impl(SandboxOptions wanted)
      : options(std::move(wanted)),
        accounts(options),
        uploads(!options.stateDir.empty()),
        log(options.recordedBodyLimit, options.recordedTotalLimit),
        state(options.stateDir, stateTables()),
        tls(options.tls ? std::make_unique<TlsContext>(options.certificate) : nullptr),
        journal(options.page ? std::make_unique<ExchangeJournal>() : nullptr),
        arrivals(options.page ? std::make_unique<ArrivalBook>(options.keptVideoBytes) : nullptr),
        server(options.port, router, faults, log, journal.get(), tls.get(), options.receiveBuffer),
        context{options,       accounts, grants,         uploads, faults, log,
                journal.get(), state,    arrivals.get(), {},      {},     {}} {
    context.baseUrl =
        std::string(options.tls ? "https" : "http") + "://127.0.0.1:" + std::to_string(server.port());
    services = makeServices(context);
    for (const std::unique_ptr<Service>& service : services) {
      service->addTo(router);
      for (const auto& [key, path] : service->urlKeys()) context.cloudConfig[key] = context.baseUrl + path;
      for (const auto& [key, path] : service->scriptKeys())
        context.scriptServices[key] = context.baseUrl + path;
    }
    if (tls) authorityFile = writeAuthority(options.stateDir, tls->authorityPem());
    server.startListening();
  }

  ~Impl() {
    stop();
    if (authorityFile.empty() || !options.stateDir.empty()) return;
    std::error_code ignored;
    std::filesystem::remove(authorityFile, ignored);
  }

  void stop() {
    faults.stop();
    accounts.stop();
    uploads.stop();
    log.stop();
    server.stopListening();
    try {
      state.save();
    } catch (const std::exception&) {
      // The folder has gone or is full; there is nobody left to tell.
    }
  }

  std::vector<StateTable> stateTables() {
    std::vector<StateTable> tables = accounts.tables();
    tables.push_back(uploads.table());
    return tables;
  }

  const SandboxOptions options;
  AccountBook accounts;
  OauthGrants grants;
  UploadBook uploads;
  FaultBook faults;
  RequestLog log;
  StateFile state;
  Router router;
  const std::unique_ptr<TlsContext> tls;
  const std::unique_ptr<ExchangeJournal> journal;
  const std::unique_ptr<ArrivalBook> arrivals;
  HttpServer server;
  ServiceContext context;
  std::vector<std::unique_ptr<Service>> services;
  std::string authorityFile;
};

Sandbox::Sandbox(SandboxOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}
Sandbox::~Sandbox() = default;
void Sandbox::stop() {
  impl_->stop();
}

std::string Sandbox::baseUrl() const {
  return impl_->context.baseUrl;
}
int Sandbox::port() const {
  return impl_->server.port();
}

std::map<std::string, std::string> Sandbox::cloudConfig() const {
  return impl_->context.cloudConfig;
}
std::string Sandbox::cloudConfigJson() const {
  return impl_->context.cloudConfigJson();
}
std::map<std::string, std::string> Sandbox::scriptServices() const {
  return impl_->context.scriptServices;
}
std::string Sandbox::scriptServicesJson() const {
  return impl_->context.scriptServicesJson();
}
std::string Sandbox::caFile() const {
  return impl_->authorityFile;
}
void Sandbox::setListening(bool listening) {
  listening ? impl_->server.startListening() : impl_->server.stopListening();
}

std::vector<User> Sandbox::users() const {
  return impl_->accounts.users();
}
void Sandbox::addUser(const User& user) {
  impl_->accounts.addUser(user);
}
bool Sandbox::chooseUser(const std::string& openId) {
  return impl_->accounts.chooseUser(openId);
}

void Sandbox::setConsent(Consent consent) {
  impl_->accounts.setConsent(consent);
}
void Sandbox::setPollsBeforeConsent(unsigned polls) {
  impl_->accounts.setPollsBeforeConsent(polls);
}
std::vector<LoginSession> Sandbox::loginSessions() const {
  return impl_->accounts.sessions();
}
std::optional<std::string> Sandbox::waitForPendingLogin(std::chrono::milliseconds limit) {
  return impl_->accounts.waitForPending(limit);
}
bool Sandbox::allow(const std::string& sessionId, const std::string& openId) {
  return impl_->accounts.decide(sessionId, true, openId);
}
bool Sandbox::deny(const std::string& sessionId) {
  return impl_->accounts.decide(sessionId, false, {});
}

IssuedTokens Sandbox::issueTokens(Platform platform, const std::string& openId) {
  IssuedTokens tokens = impl_->accounts.issueTokens(platform, openId);
  impl_->state.save();
  return tokens;
}

std::string Sandbox::issueAccountToken() {
  std::string token = impl_->accounts.issueAccountToken();
  impl_->state.save();
  return token;
}

void Sandbox::setTokenLifetime(std::chrono::seconds lifetime) {
  impl_->accounts.setTokenLifetime(lifetime);
}

void Sandbox::expireAccessTokens(const std::string& openId) {
  impl_->accounts.expire(TokenKind::access, openId);
  impl_->state.save();
}

void Sandbox::expireAccountTokens() {
  impl_->accounts.expire(TokenKind::account, {});
  impl_->state.save();
}

void Sandbox::revokeTokens(const std::string& openId) {
  impl_->accounts.revoke(openId);
  impl_->state.save();
}

std::optional<TokenState> Sandbox::token(const std::string& text) const {
  return impl_->accounts.token(text);
}

std::vector<RecordedRequest> Sandbox::requests() const {
  return impl_->log.all();
}
std::vector<RecordedRequest> Sandbox::requests(Route route) const {
  return impl_->log.of(route);
}
std::size_t Sandbox::requestCount(Route route) const {
  return impl_->log.count(route);
}
bool Sandbox::waitForRequests(Route route, std::size_t count, std::chrono::milliseconds limit) {
  return impl_->log.waitForArrived(route, count, limit);
}
void Sandbox::clearRequests() {
  impl_->log.clear();
}
std::size_t Sandbox::connectionCount() const {
  return impl_->server.connectionCount();
}
std::size_t Sandbox::openConnections() const {
  return impl_->server.openConnections();
}

ExchangeNews Sandbox::exchangesSince(std::uint64_t change) const {
  return impl_->journal ? impl_->journal->since(change) : ExchangeNews();
}

std::vector<UploadRecord> Sandbox::uploads() const {
  return impl_->uploads.all();
}

std::optional<UploadRecord> Sandbox::uploadByMediaId(const std::string& mediaId) const {
  for (UploadRecord& upload : impl_->uploads.all()) {
    if (upload.mediaId == mediaId) return std::move(upload);
  }
  return std::nullopt;
}

bool Sandbox::waitForUploads(std::size_t count, std::chrono::milliseconds limit) {
  return impl_->uploads.waitForComplete(count, limit);
}

FaultId Sandbox::orderFault(Route route, Fault fault, unsigned nth, unsigned times) {
  if (const std::string mistake = mistakeIn(fault, route); !mistake.empty())
    throw std::invalid_argument(mistake);
  return impl_->faults.order(route, std::move(fault), nth, times);
}
unsigned Sandbox::faultsDelivered(FaultId id) const {
  return impl_->faults.deliveredCount(id);
}
unsigned Sandbox::faultsDelivered() const {
  return impl_->faults.deliveredCount();
}
unsigned Sandbox::faultsOutstanding() const {
  return impl_->faults.outstanding();
}
bool Sandbox::waitForFaults(FaultId id, unsigned count, std::chrono::milliseconds limit) {
  return impl_->faults.waitForDelivered(id, count, limit);
}
void Sandbox::releaseStalls() {
  impl_->faults.releaseStalls();
}
void Sandbox::clearFaults() {
  impl_->faults.withdrawAll();
}

}  // namespace sandbox
