// What hosts see of the stand-ins, told in types of their own, so that everything behind it may change.
#include "sandbox/Sandbox.h"
#include "sandbox/services/inspection/FaultJson.h"

#include <MediaTransferSandbox/Sandbox.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace mediatransfer {

namespace {

sandbox::Consent consentOf(Consent consent) {
  switch (consent) {
    case Consent::ask:
      return sandbox::Consent::ask;
    case Consent::deny:
      return sandbox::Consent::deny;
    case Consent::never:
      return sandbox::Consent::never;
    default:
      return sandbox::Consent::automatic;
  }
}

sandbox::SandboxOptions optionsOf(const SandboxSettings& settings) {
  sandbox::SandboxOptions options;
  options.port = settings.port;
  options.stateDir = settings.stateFolder;
  options.consent = consentOf(settings.consent);
  options.appSecret = settings.appSecret;
  options.appId = settings.appId;
  options.appRedirect = settings.appRedirect;
  options.tokenLifetime = settings.tokenLifetime;
  options.page = settings.page;
  return options;
}

std::invalid_argument unknownName(const char* what, const std::string& name,
                                  const std::vector<std::string>& known) {
  std::string text = std::string("no ") + what + " is called \"" + name + "\"; there are";
  for (const std::string& one : known) text += ' ' + one;
  return std::invalid_argument(text);
}

sandbox::Route routeOf(const std::string& name) {
  const std::vector<std::string> known = Sandbox::faultRoutes();
  if (std::find(known.begin(), known.end(), name) == known.end()) throw unknownName("route", name, known);
  return sandbox::routeFromName(name).value_or(sandbox::Route::unknown);
}

sandbox::Fault faultOf(const SandboxFault& wanted) {
  const std::optional<sandbox::Fault::Kind> kind = sandbox::faultKindFromName(wanted.kind);
  if (!kind) throw unknownName("fault", wanted.kind, Sandbox::faultKinds());
  sandbox::Fault fault = sandbox::Fault::status(wanted.code, wanted.text, wanted.contentType);
  fault.kind = *kind;
  fault.bytes = wanted.bytes;
  fault.delay = wanted.delay;
  fault.path = wanted.path;
  fault.headers.assign(wanted.headers.begin(), wanted.headers.end());
  return fault;
}

SandboxUpload uploadOf(const sandbox::UploadRecord& record) {
  return {record.service,       record.mediaId,      record.openId, record.fileName, record.metadata,
          record.announcedSize, record.receivedSize, record.sha256, record.complete};
}

SandboxRequest requestOf(const sandbox::RecordedRequest& record) {
  return {std::string(routeName(record.route)),
          record.method,
          record.target,
          record.headers,
          record.body,
          record.bodySize,
          record.status};
}

}  // namespace

class Sandbox::Servers : public sandbox::Sandbox {
 public:
  using sandbox::Sandbox::Sandbox;
};

Sandbox::Sandbox(const SandboxSettings& settings)
    : servers_(std::make_unique<Servers>(optionsOf(settings))) {}

Sandbox::~Sandbox() = default;

void Sandbox::stop() {
  servers_->stop();
}

void Sandbox::setListening(bool listening) {
  servers_->setListening(listening);
}

std::string Sandbox::address() const {
  return servers_->baseUrl();
}

int Sandbox::port() const {
  return servers_->port();
}

std::map<std::string, std::string> Sandbox::cloudConfig() const {
  return servers_->cloudConfig();
}

std::string Sandbox::cloudConfigText() const {
  return servers_->cloudConfigJson();
}

std::string Sandbox::scriptServicesText() const {
  return servers_->scriptServicesJson();
}

std::vector<SandboxUser> Sandbox::users() const {
  std::vector<SandboxUser> users;
  for (const sandbox::User& user : servers_->users()) users.push_back({user.openId, user.email, user.name});
  return users;
}

bool Sandbox::chooseUser(const std::string& id) {
  return servers_->chooseUser(id);
}

void Sandbox::setConsent(Consent consent) {
  servers_->setConsent(consentOf(consent));
}

std::optional<std::string> Sandbox::waitForPendingLogin(std::chrono::milliseconds limit) {
  return servers_->waitForPendingLogin(limit);
}

bool Sandbox::allow(const std::string& login, const std::string& user) {
  return servers_->allow(login, user);
}

bool Sandbox::deny(const std::string& login) {
  return servers_->deny(login);
}

void Sandbox::expireAccessTokens(const std::string& user) {
  servers_->expireAccessTokens(user);
}

void Sandbox::revokeTokens(const std::string& user) {
  servers_->revokeTokens(user);
}

std::vector<SandboxUpload> Sandbox::uploads() const {
  std::vector<SandboxUpload> uploads;
  for (const sandbox::UploadRecord& record : servers_->uploads()) uploads.push_back(uploadOf(record));
  return uploads;
}

bool Sandbox::waitForUploads(std::size_t count, std::chrono::milliseconds limit) {
  return servers_->waitForUploads(count, limit);
}

std::vector<SandboxRequest> Sandbox::requests(const std::string& route) const {
  std::vector<SandboxRequest> requests;
  for (const auto& record : route.empty() ? servers_->requests() : servers_->requests(routeOf(route))) {
    requests.push_back(requestOf(record));
  }
  return requests;
}

bool Sandbox::waitForRequests(const std::string& route, std::size_t count, std::chrono::milliseconds limit) {
  return servers_->waitForRequests(routeOf(route), count, limit);
}

std::vector<std::string> Sandbox::faultRoutes() {
  std::vector<std::string> names;
  for (const std::string_view name : sandbox::routeNames()) {
    if (name != routeName(sandbox::Route::inspection)) names.emplace_back(name);
  }
  return names;
}

std::vector<std::string> Sandbox::faultKinds() {
  std::vector<std::string> names;
  for (const Json::Value& kind : sandbox::faultKinds()) names.push_back(kind["name"].asString());
  return names;
}

std::uint64_t Sandbox::orderFault(const SandboxFault& fault) {
  return servers_->orderFault(routeOf(fault.route), faultOf(fault), fault.nth, fault.times);
}

unsigned Sandbox::faultsDelivered(std::uint64_t order) const {
  return servers_->faultsDelivered(order);
}

bool Sandbox::waitForFaults(std::uint64_t order, unsigned count, std::chrono::milliseconds limit) {
  return servers_->waitForFaults(order, count, limit);
}

void Sandbox::releaseStalls() {
  servers_->releaseStalls();
}

void Sandbox::clearFaults() {
  servers_->clearFaults();
}

}  // namespace mediatransfer
