#include "host/Host.h"

#include "host/EventQueue.h"
#include "host/HostCallbacks.h"
#include "host/Interrupt.h"
#include "host/ServerOrigin.h"
#include "options/Failure.h"
#include "options/ProxyUrl.h"
#include "options/Secrets.h"
#include "report/Advice.h"
#include "sandbox/LoginVisit.h"
#include "sandbox/Sandbox.h"
#include "sandbox/ScriptServicesFile.h"
#include "system/Environment.h"
#include "system/InstalledHome.h"
#include "system/Utf8Path.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/BsInfoReader.h>
#include <BsNet/INetworkClient.h>
#include <BsNet/NetKeys.h>
#include <BsNet/cipher.h>
#include <BsNet/createInfoObject.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>
#include <KblLogger/LogSinks.h>
#include <KblUtils/CastByName.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <stdexcept>

namespace host {
namespace {

/// The background refresh of the manager; the library's upper limit.
constexpr int refreshIntervalMs = 3300000;

/// Listings and downloads leave nothing behind, unless stand-in servers do.
bool keepsData(const Options& options) {
  return options.platform != nullptr || options.sandbox;
}

/// What the files of a platform's logins have in common; a script's login is one of its own.
std::string loginName(const Options& options) {
  return std::string(options.platform->name) + (usesScript(options) ? "_script" : "");
}

/// The file of the logins; the library names that of a manager.
std::string loginFileName(const Options& options) {
  return usesScript(options) ? loginName(options) + "_login" : "ema_" + loginName(options) + "_cache.db";
}

/// Stand-in servers of this process are on another port each time, and know their own users and tokens alone.
constexpr const char* standIns = "--sandbox";

std::string textUnder(KBL::IBsInfoReader& record, const char* key) {
  const char* const text = record.charKeyConfig(key);
  return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

Host::Host(const Options& options, Report& report, Servers servers)
    : options_(options),
      report_(report),
      folders_(keepsData(options) ? dataFolders(options.cacheDir, options.profile, options.sandbox)
                                  : DataFolders{}) {
  installLog();
  if (options_.platform != nullptr) openFolders();
  if (servers == Servers::needed || (servers == Servers::optional && namesServers())) openServers();
  if (usesScript(options_)) tellScripts();
  if (options_.platform == nullptr) return;
  findServer();
  if (!usesScript(options_)) openManager();
}

Host::~Host() {
  manager_.reset();
  if (transfersOpen_) teardownTransferEnv();
}

bool Host::hasLogins(const Options& options) {
  const DataFolders folders = dataFolders(options.cacheDir, options.profile, options.sandbox);
  std::error_code error;
  return std::filesystem::exists(pathFromUtf8(folders.cache + "/" + loginFileName(options)), error);
}

void Host::openTransfers() {
  if (transfersOpen_) return;
  // The library tells people where its home is; nobody asked.
  if (options_.verbosity == 0) std::clog.rdbuf(nullptr);
  // A home without scripts only means that none are found.
  const std::string home = homeForScripts(options_.pythonHome);
  setupTransferEnv(home.c_str(), static_cast<int>(home.size()));
  transfersOpen_ = true;
}

ScriptLogins Host::scriptLogins() const {
  return {folders_.cache, std::string(options_.platform->name)};
}

std::string Host::redirectOf(const std::string& url) const {
  return sandbox_ ? sandbox::redirectOf(*sandbox_, url) : std::string();
}

/// Scripts find their services, their proxy and the place for a begun login in the environment. Before the
/// interpreter starts.
void Host::tellScripts() {
  if (sandbox_) {
    scriptServices_ = std::make_unique<sandbox::ScriptServicesFile>(*sandbox_, "");
    setEnvironment("MEDIATRANSFER_SERVICES", scriptServices_->path());
  }
  setEnvironment("MEDIATRANSFER_LOGIN_FILE", folders_.cache + "/" + loginName(options_) + "_begun");
  // How the script looks at a login that it gets.
  const bool isVerify = options_.command == Command::verify;
  setEnvironment("MEDIATRANSFER_LOGIN_CHECK", !isVerify ? "" : options_.offline ? "stored" : "service");
  if (options_.proxy.empty()) return;
  if (parseProxyUrl(options_.proxy).type != KBL::proxyHttp) {
    throw Failure(Exit::wrongUse, "the script for " + std::string(options_.platform->name) +
                                      " takes http:// proxies alone; give another --proxy");
  }
  for (const char* name : {"http_proxy", "https_proxy"}) setEnvironment(name, options_.proxy);
}

bool Host::namesServers() const {
  return options_.sandbox || !options_.cloudConfigFile.empty();
}

std::string Host::sandboxUrl() const {
  return sandbox_ ? sandbox_->baseUrl() : std::string();
}

std::string Host::sandboxConfig() const {
  return sandbox_ ? sandbox_->cloudConfigJson() : std::string();
}

void Host::installLog() {
  if (options_.logFile.empty() && options_.verbosity == 0) return;
  KBL::LogSettings settings;
  settings.maxSeverity =
      options_.verbosity > 1 ? KBL::IBsLogger::severityDebug : KBL::IBsLogger::severityInfo;
  settings.console = options_.verbosity > 0;
  settings.file = options_.logFile;
  // Scripts hand the application's secret back, and the library logs what they return.
  settings.secrets = givenSecrets(options_);
  auto logger = KBL::makeLogger(settings);
  if (logger == nullptr) {
    throw Failure(Cause::file, "the log file '" + options_.logFile + "' cannot be written; give another");
  }
  KBL::installLogger(std::move(logger));
}

void Host::openFolders() {
  makePrivateFolder(folders_.cache);
  KBL::setKeyStore(KBL::makeFileKeyStore(folders_.key));
  loginFile_ = std::make_unique<LoginFile>(folders_, loginFileName(options_));
  loginFile_->requireReadable();
  // All others store what becomes of the login, and a renewed token that is lost is a lost login.
  if (options_.command != Command::whoami) loginFile_->requireWritable();
}

void Host::findServer() {
  if (options_.sandbox) {
    server_ = standIns;
  } else if (usesScript(options_)) {
    server_ = scriptServicesServer();
  } else {
    server_ = accountServerOrigin();
  }
  origin_ = std::make_unique<LoginOrigin>(folders_.cache + "/" + loginName(options_) + "_origin", server_);
}

std::string Host::scriptServicesServer() const {
  // Who only looks at a login asks no service, and a logout forgets it also where none can be asked.
  if (options_.command == Command::whoami) return {};
  try {
    return scriptServicesOrigin(*options_.platform);
  } catch (const Failure&) {
    if (options_.command != Command::logout) throw;
    return {};
  }
}

void Host::requireOrigin(const std::string& origin) const {
  requireSameServer(origin, server_, signInCall(options_));
}

void Host::lockLogins() {
  lock_.take(folders_.cache + "/" + loginName(options_) + "_lock",
             [this] { report_.note("waiting for another command that uses the login"); });
}

void Host::openServers() {
  if (options_.sandbox) {
    sandbox::SandboxOptions settings;
    settings.stateDir = folders_.sandboxState;
    settings.consent = options_.consentAsk ? sandbox::Consent::ask : sandbox::Consent::automatic;
    // Whoever names the application also names where its logins end.
    if (!options_.appRedirect.empty() || options_.consentAsk) settings.appRedirect.clear();
    makePrivateFolder(folders_.sandboxState);
    try {
      sandbox_ = std::make_unique<sandbox::Sandbox>(settings);
    } catch (const std::runtime_error& error) {
      throw Failure(Cause::call, std::string("the stand-in servers cannot start: ") + error.what() +
                                     "; check the folder " + folders_.sandboxState);
    }
    KBL::setCloudConfig(sandbox_->cloudConfig());
    return;
  }
  if (options_.cloudConfigFile.empty()) {
    throw Failure(
        Exit::wrongUse,
        "no servers are configured; give --cloud-config FILE, or --sandbox to use stand-in servers");
  }
  if (const std::string trouble = KBL::loadCloudConfig(options_.cloudConfigFile); !trouble.empty()) {
    throw Failure(Cause::call, "--cloud-config: " + trouble + "; give a JSON object from URL key to address");
  }
}

void Host::openManager() {
  if (options_.command != Command::whoami) lockLogins();
  if (options_.command == Command::verify || options_.command == Command::upload) {
    origin_->require(signInCall(options_));
  }
  // Without a manager there is nothing to release, so the one reference is certainly ours.
  manager_ = KBL::adoptRef(getOrCreateExternlMediaAuthorize(options_.platform->manager));
  if (!manager_) throw Failure(Cause::call, "the library cannot make an authorization manager");
  setPublicInformation();
  setProxy();
  manager_->addAuthCallback(&authCallbacks());
  if (manager_->init(folders_.cache.c_str(), refreshIntervalMs) != KBL::resultOk) {
    throw Failure(Cause::file, "the logins of " + folders_.cache + " cannot be opened; give --cache-dir");
  }
  loginFile_->watch();
}

void Host::setPublicInformation() {
  const auto record = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));
  auto* const info = KBL::queryInterface<KBL::IBsPubInfo>(record.get(), "IBsPubInfo");
  if (info == nullptr) throw Failure(Cause::call, "the library cannot make a record");
  std::string secret = options_.appSecret;
  if (secret.empty() && sandbox_) secret = sandbox::SandboxOptions().appSecret;
  if (!secret.empty()) info->setCharKeyConfig(KBL::PubCharKey::appSecret, secret.c_str());
  info->setCharKeyConfig(KBL::PubCharKey::contentType, "application/json");
  info->setCharKeyConfig(KBL::PubCharKey::lang, "en-US");
  manager_->setPubParam(info);
}

void Host::setProxy() {
  if (options_.proxy.empty()) return;
  const ProxyAddress address = parseProxyUrl(options_.proxy);
  const auto record = KBL::adoptRef(createInfoObject(KBL::infoObjectServerProxy));
  auto* const proxy = KBL::queryInterface<KBL::IBsServerProxyInfo>(record.get(), "IBsServerProxyInfo");
  if (proxy == nullptr) throw Failure(Cause::call, "the library cannot make a record");
  proxy->setIntKeyConfig(KBL::ServerProxyIntKey::mode, 0);
  proxy->setIntKeyConfig(KBL::ServerProxyIntKey::type, address.type);
  proxy->setIntKeyConfig(KBL::ServerProxyIntKey::port, address.port);
  proxy->setCharKeyConfig(KBL::ServerProxyCharKey::server, address.server.c_str());
  proxy->setCharKeyConfig(KBL::ServerProxyCharKey::user, address.user.c_str());
  proxy->setCharKeyConfig(KBL::ServerProxyCharKey::password, address.password.c_str());
  manager_->setServerProxy(proxy);
}

std::optional<Person> Host::findPerson(const std::string& uuid) {
  const auto record = KBL::adoptRef(createExternlMediaAuthInfoObject(KBL::infoTypeUser));
  auto* const info =
      KBL::queryInterface<KBL::IBsExternlMediaAuthUserInfo>(record.get(), "IBsExternlMediaAuthUserInfo");
  if (info == nullptr || manager_->userInfo(uuid.c_str(), info) != KBL::resultOk) return std::nullopt;
  using User = KBL::ExternlMediaAuthUserCharKey;
  Person person;
  person.user = textUnder(*info, User::userSessionId);
  person.account = textUnder(*info, User::userAccount);
  person.name = textUnder(*info, User::userNickName);
  person.firstName = textUnder(*info, User::userFirstName);
  person.lastName = textUnder(*info, User::userLastName);
  person.accountUid = textUnder(*info, KBL::ExternlMediaMixedCharKey::userAccountUid);
  person.categories = textUnder(*info, User::videoCategories);
  return person;
}

void Host::unlockLoginsOnceWritten() {
  // An exchange with the account server takes 30 s at the most, and may end in silence.
  constexpr std::chrono::seconds limit(35);
  watchLogins();
  writingLimit_ = Clock::now() + limit;
}

void Host::unlockIfWritten() {
  if (!writingLimit_ || (!loginsAreKept() && Clock::now() < *writingLimit_)) return;
  writingLimit_.reset();
  // What is written from here on is another's, or of a background refresh.
  watchLogins();
  unlockLogins();
}

std::optional<Event> Host::next(Clock::time_point deadline, bool heedInterrupt) {
  // Ctrl-C only sets a flag, so the wait goes in slices that are too short to be felt.
  constexpr std::chrono::milliseconds slice(100);
  for (;;) {
    if (heedInterrupt && interrupted()) return std::nullopt;
    const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    auto event = eventQueue().pop(std::clamp(rest, std::chrono::milliseconds(0), slice));
    unlockIfWritten();
    if (event) return event;
    if (Clock::now() >= deadline) return std::nullopt;
    report_.tick();
  }
}

void Host::reportShared(const Event& event) {
  switch (event.kind) {
    case Event::Kind::loginUrl:
      return report_.loginUrl(event.user, event.text);
    case Event::Kind::callbackUrl:
      return report_.callbackUrl(event.user, event.text);
    case Event::Kind::tokenChanged:
      return report_.tokenChanged(event.user);
    case Event::Kind::answer:
      if (event.code != KBL::ErrorCode::none) report_.error(event.code, event.text);
      return;
    case Event::Kind::progress:
    case Event::Kind::finished:
    case Event::Kind::uploadError:
      return;
  }
}

}  // namespace host
