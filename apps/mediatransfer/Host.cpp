#include "Host.h"

#include "EventQueue.h"
#include "Failure.h"
#include "HostCallbacks.h"
#include "Interrupt.h"
#include "ProxyUrl.h"
#include "ScriptSession.h"
#include "boundary/ExternlMediaTransfer.h"
#include "boundary/records/ExternlMediaInfoType.h"
#include "boundary/records/ExternlMediaKeys.h"
#include "foundation/BsCloudConfig/BsCloudConfig.h"
#include "foundation/BsNet/BsBaseInfoRW.h"
#include "foundation/BsNet/INetworkClient.h"
#include "foundation/BsNet/NetKeys.h"
#include "foundation/BsNet/cipher.h"
#include "foundation/BsNet/createInfoObject.h"
#include "foundation/KblLogger/LogSinks.h"
#include "foundation/object/CastByName.h"
#include "sandbox/LoginVisit.h"
#include "sandbox/Sandbox.h"
#include "sandbox/ScriptServicesFile.h"
#include "system/Environment.h"

#include <algorithm>
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

/// What the library calls the file of a platform's logins; a script's login has one of its own.
std::string loginFileName(const Options& options) {
  const std::string platform(options.platform->name);
  return usesScript(options) ? platform + "_script_login" : "ema_" + platform + "_cache.db";
}

std::string textUnder(KBL::IBsInfoReader& record, const char* key) {
  const char* const text = record.charKeyConfig(key);
  return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

Host::Host(const Options& options, Report& report, Servers servers)
    : options_(options),
      report_(report),
      folders_(keepsData(options) ? dataFolders(options.cacheDir) : DataFolders{}) {
  installLog();
  if (options_.platform != nullptr) openFolders();
  if (servers == Servers::needed || (servers == Servers::optional && namesServers())) openServers();
  if (usesScript(options_)) {
    tellScripts();
  } else if (options_.platform != nullptr) {
    openManager();
  }
}

Host::~Host() {
  manager_.reset();
  if (transfersOpen_) teardownTransferEnv();
}

void Host::openTransfers() {
  if (transfersOpen_) return;
  // The library tells people where its home is; nobody asked.
  if (options_.verbosity == 0) std::clog.rdbuf(nullptr);
  // A home without scripts only means that none are found.
  std::string home = options_.pythonHome;
  if (!home.empty() && !home.ends_with('/')) home += '/';
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
  setEnvironment("MEDIATRANSFER_LOGIN_FILE",
                 folders_.cache + "/" + std::string(options_.platform->name) + "_script_begun");
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

void Host::installLog() {
  if (options_.logFile.empty() && options_.verbosity == 0) return;
  KBL::LogSettings settings;
  settings.maxSeverity = options_.verbosity > 1 ? KBL::IBsLogger::debug : KBL::IBsLogger::info;
  settings.console = options_.verbosity > 0;
  settings.file = options_.logFile;
  // Scripts hand the application's secret back, and the library logs what they return.
  settings.secrets = {options_.appSecret, options_.token, options_.secret};
  auto logger = KBL::makeLogger(settings);
  if (logger == nullptr) {
    throw Failure(Exit::refused, "the log file '" + options_.logFile + "' cannot be written; give another");
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

void Host::openServers() {
  if (options_.sandbox) {
    sandbox::SandboxOptions settings;
    settings.stateDir = folders_.sandboxState;
    settings.consent = options_.consentAsk ? sandbox::Consent::ask : sandbox::Consent::automatic;
    makePrivateFolder(folders_.sandboxState);
    try {
      sandbox_ = std::make_unique<sandbox::Sandbox>(settings);
    } catch (const std::runtime_error& error) {
      throw Failure(Exit::refused, std::string("the stand-in servers cannot start: ") + error.what() +
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
    throw Failure(Exit::refused,
                  "--cloud-config: " + trouble + "; give a JSON object from URL key to address");
  }
}

void Host::openManager() {
  // Without a manager there is nothing to release, so the one reference is certainly ours.
  manager_ = KBL::adoptRef(getOrCreateExternlMediaAuthorize(options_.platform->manager));
  if (!manager_) throw Failure(Exit::refused, "the library cannot make an authorization manager");
  setPublicInformation();
  setProxy();
  manager_->addAuthCallback(&authCallbacks());
  if (manager_->init(folders_.cache.c_str(), refreshIntervalMs) != KBL::resultOk) {
    throw Failure(Exit::refused, "the logins of " + folders_.cache + " cannot be opened; give --cache-dir");
  }
  loginFile_->watch();
}

void Host::setPublicInformation() {
  const auto record = KBL::adoptRef(createInfoObject(KBL::infoObjectPubInfo));
  auto* const info = KBL::queryInterface<KBL::IBsPubInfo>(record.get(), "IBsPubInfo");
  if (info == nullptr) throw Failure(Exit::refused, "the library cannot make a record");
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
  if (proxy == nullptr) throw Failure(Exit::refused, "the library cannot make a record");
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

std::optional<Event> Host::next(Clock::time_point deadline, bool heedInterrupt) {
  // Ctrl-C only sets a flag, so the wait goes in slices that are too short to be felt.
  constexpr std::chrono::milliseconds slice(100);
  for (;;) {
    if (heedInterrupt && interrupted()) return std::nullopt;
    const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    auto event = eventQueue().pop(std::clamp(rest, std::chrono::milliseconds(0), slice));
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
