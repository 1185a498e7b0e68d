#include "host/ScriptSession.h"

#include "options/Failure.h"
#include "report/Advice.h"
#include "report/SlowCall.h"
#include "sandbox/base/SandboxOptions.h"
#include "system/Utf8Path.h"
#include <ExternlMediaTransfer/ExternlMediaTransfer.h>
#include <ExternlMediaTransfer/HostRecords.h>
#include <ExternlMediaTransfer/TransferNumbers.h>
#include <KblUtils/Process.h>
#include <KblUtils/Result.h>

#include <utf8.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <new>
#include <string_view>
#include <system_error>
#include <vector>

namespace host {
namespace {

/// The library's first brand; the script names itself to the service by it.
constexpr long long brand = 0;
/// What the library's texts may take.
constexpr std::size_t loginUrlRoom = 8192;
constexpr std::size_t errorTextRoom = 1024;
/// Behind the record; no service has as many categories.
constexpr std::size_t categoriesRoom = std::size_t{256} << 10;
constexpr const char* makeHome = "tools/make_python_home DIR makes one";

using ErrorText = std::array<char, errorTextRoom>;

/// How the script package says what became of a check; a reason follows the last two.
struct CheckWord {
  std::string_view word;
  ScriptSession::Check check;
};
constexpr std::array<CheckWord, 4> checkWords{{{"good", ScriptSession::Check::good},
                                               {"not asked", ScriptSession::Check::notAsked},
                                               {"unreachable: ", ScriptSession::Check::unreachable},
                                               {"undecided: ", ScriptSession::Check::undecided}}};

/// A table of addresses of somebody's own is the first thing to doubt.
std::string servicesHint() {
  const std::string services = KBL::Environment::variable("MEDIATRANSFER_SERVICES");
  return services.empty() ? services : ", and the addresses in '" + services + "' (MEDIATRANSFER_SERVICES)";
}

/// The text of a fixed field.
template <std::size_t size>
std::string fieldText(const char (&field)[size]) {
  const std::string whole(field, size);
  return whole.substr(0, whole.find('\0'));
}

/// A script refuses an empty token and says why; without an interpreter nothing is said.
void requireAnswer(KBL::IExternlMediaTransfer& transfer, const std::string& home) {
  ErrorText error{};
  if (transfer.Command(KBL::commandSetAccessToken, "", error.data()) == KBL::resultOk ||
      error.front() != '\0') {
    return;
  }
  throw Failure(Cause::call,
                "the script does not run: no Python interpreter serves it, or the home '" + home +
                    "' is damaged; make it anew with tools/make_python_home, or set MEDIATRANSFER_PYTHON to "
                    "the shared library of a Python 3.8 to 3.13; -v shows what was tried");
}

}  // namespace

std::string redirectAddress(const Options& options) {
  if (!options.appRedirect.empty() || !options.sandbox) return options.appRedirect;
  // Where somebody consents in a browser, that has to come back here.
  return options.consentAsk ? "http://127.0.0.1:0/signed-in" : sandbox::SandboxOptions().appRedirect;
}

void requirePythonHome(const std::string& home, const std::string& who) {
  if (home.empty()) {
    throw Failure(Cause::call, who + " needs a Python home: " + makeHome +
                                   ", then give --python-home DIR or set MEDIATRANSFER_PYTHON_HOME");
  }
  // The library hands the path on in single quotes, as it is.
  if (home.find('\'') != std::string::npos) {
    throw Failure(Cause::call, "the path of the Python home '" + home +
                                   "' holds a ', which cannot be handed on to Python; give a home at another "
                                   "path");
  }
  // An interpreter that starts without its standard library ends the process.
  for (const char* part : {"pythondlls/authupload.py", "python38.zip"}) {
    std::error_code error;
    if (std::filesystem::is_regular_file(pathFromUtf8(home) / part, error)) continue;
    throw Failure(Cause::call, "the Python home '" + home + "' has no " + part + "; " + makeHome);
  }
}

void requireScriptsToRun(const Options& options) {
  const auto transfer = KBL::adoptRef(createEMTUpTransfer(KBL::transferFacebook));
  if (!transfer) throw Failure(Cause::call, "the library cannot make a transfer");
  requireAnswer(*transfer, options.pythonHome);
}

ScriptSession::ScriptSession(Host& host, const Options& options, const std::string& redirect)
    : options_(options), report_(host.report()) {
  requirePythonHome(options_.pythonHome,
                    std::string(options_.platform->name) + " goes through a script, which");
  host.openTransfers();
  transfer_ = KBL::adoptRef(createEMTUpTransfer(options_.platform->transferPlatform));
  if (!transfer_) throw Failure(Cause::call, "the library cannot make a transfer");
  setApplication(redirect);
  requireAnswer(*transfer_, options_.pythonHome);
}

void ScriptSession::setApplication(const std::string& redirect) {
  const sandbox::SandboxOptions standIn;
  const auto chosen = [&](const std::string& given, const std::string& otherwise) {
    return given.empty() && options_.sandbox ? otherwise : given;
  };
  const std::string id = chosen(options_.appId, standIn.appId);
  const std::string secret = chosen(options_.appSecret, standIn.appSecret);
  if (id.empty() || secret.empty() || redirect.empty()) {
    throw Failure(Exit::wrongUse, std::string(options_.platform->name) +
                                      " has to know the application: give --app-id, --app-secret and "
                                      "--app-redirect (or MEDIATRANSFER_APP_ID and so on)");
  }
  transfer_->Command(KBL::commandSetAppBrand, brand);
  transfer_->Command(KBL::commandSetApp, id.c_str(), secret.c_str(), redirect.c_str());
}

std::string ScriptSession::loginUrl() {
  const SlowCall call(report_, serviceName());
  std::vector<char> url(loginUrlRoom);
  if (transfer_->Query(KBL::queryLoginUrl, url.data()) == KBL::resultOk) return url.data();
  throw Failure(Cause::network, "the script for " + std::string(options_.platform->name) +
                                    " gives no address to sign in at; check the network, --app-id and "
                                    "--app-secret" +
                                    servicesHint() + ", and run again with -v to see why");
}

ScriptSession::Answer ScriptSession::verify(const std::string& redirectUrl) {
  const SlowCall call(report_, serviceName());
  // Scripts take texts; what is none is no address.
  if (!utf8::is_valid(redirectUrl)) return {Verdict::notUsable, {}};
  ErrorText error{};
  switch (transfer_->Command(KBL::commandVerifyRedirectUrl, redirectUrl.c_str(), error.data())) {
    case KBL::resultOk:
      return {Verdict::accepted, {}};
    case KBL::resultNullArgument:
      return {Verdict::notUsable, {}};
    default:
      return {Verdict::refused, error.data()};
  }
}

std::optional<std::string> ScriptSession::takeToken(const std::string& token) {
  const SlowCall call(report_, serviceName());
  ErrorText error{};
  if (transfer_->Command(KBL::commandSetAccessToken, token.c_str(), error.data()) == KBL::resultOk)
    return std::nullopt;
  return std::string(error.data());
}

ScriptSession::CheckResult ScriptSession::checkToken(const std::string& token) {
  const SlowCall call(report_, serviceName());
  ErrorText said{};
  const bool isTaken =
      transfer_->Command(KBL::commandSetAccessToken, token.c_str(), said.data()) == KBL::resultOk;
  const std::string text = said.data();
  if (!isTaken) return {Check::refused, text};
  for (const CheckWord& known : checkWords) {
    if (text.starts_with(known.word)) return {known.check, text.substr(known.word.size())};
  }
  // Scripts of a former version take every token that they can read.
  throw Failure(Cause::call, "the script in the home '" + options_.pythonHome +
                                 "' does not tell whether a login is good; make the home anew with "
                                 "tools/make_python_home");
}

std::optional<ScriptLogin> ScriptSession::login() {
  const SlowCall call(report_, serviceName());
  std::vector<std::max_align_t> room((sizeof(KBL::hostAccountRecord) + categoriesRoom) /
                                     sizeof(std::max_align_t));
  auto* const account = new (room.data()) KBL::hostAccountRecord{};
  if (transfer_->Query(KBL::queryUserInfo, account) != KBL::resultOk) return std::nullopt;
  ScriptLogin login;
  login.token = fieldText(account->accessToken);
  login.name = fieldText(account->userName);
  // The categories go on behind the record.
  login.categories =
      reinterpret_cast<const char*>(room.data()) + offsetof(KBL::hostAccountRecord, videoCategories);
  if (login.token.empty()) return std::nullopt;
  return login;
}

void ScriptSession::logout() {
  const SlowCall call(report_, serviceName());
  transfer_->Query(KBL::queryLogout);
}

}  // namespace host
