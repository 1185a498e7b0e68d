#include "commands/MediaLogin.h"

#include "host/DataFolders.h"
#include "host/LoginOrigin.h"
#include "host/ScriptLogins.h"
#include "host/ScriptToken.h"
#include "host/ServerOrigin.h"
#include "options/Failure.h"
#include "report/Advice.h"
#include "sandbox/base/SandboxOptions.h"
#include <BsNet/cipher.h>

#include <chrono>
#include <optional>
#include <vector>

namespace host {
namespace {

std::string serviceName(const Options& options) {
  return std::string(options.service->name);
}

/// The call for the login of the service's script.
std::string callOf(const char* command, const Options& options) {
  return nextCall(options) + " " + command + " " + serviceName(options);
}

std::optional<ScriptLogin> storedLogin(const Options& options) {
  const DataFolders folders = dataFolders(options.cacheDir, options.profile, options.sandbox);
  KBL::setKeyStore(KBL::makeFileKeyStore(folders.key));
  return ScriptLogins(folders.cache, serviceName(options)).load();
}

bool isOver(const ScriptToken& token) {
  // It has to outlive the listing's first pages, at least.
  constexpr std::chrono::seconds margin(60);
  const auto now = std::chrono::system_clock::now().time_since_epoch() + margin;
  return token.expires != 0 && std::chrono::seconds(token.expires) <= now;
}

void useStored(Options& options, const ScriptLogin& login) {
  const std::optional<ScriptToken> token = readScriptToken(login.token, serviceName(options));
  if (!token) {
    throw Failure(Cause::login, "the stored login of " + serviceName(options) +
                                    " cannot be read; sign in again with: " + callOf("login", options));
  }
  if (token->access.empty() || isOver(*token)) {
    throw Failure(Cause::login, "the stored login of " + serviceName(options) +
                                    " has expired; renew it with: " + callOf("verify", options));
  }
  options.token = token->access;
  if (!options.service->signsEachRequest) return;
  options.token += "|" + token->secret;
  const sandbox::SandboxOptions standIn;
  if (options.key.empty()) options.key = options.appId;
  if (options.secret.empty()) options.secret = options.appSecret;
  if (options.key.empty() && options.sandbox) options.key = standIn.appId;
  if (options.secret.empty() && options.sandbox) options.secret = standIn.appSecret;
}

void useStandIns(Options& options) {
  options.token = sandbox::firstMediaAccount().*options.service->standInToken;
  if (options.key.empty()) options.key = sandbox::flickrApplicationKey;
  if (options.secret.empty()) options.secret = sandbox::flickrApplicationSecret;
}

std::string listed(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 == names.size() ? " and " : ", ";
    text += names[i];
  }
  return text;
}

void requireAll(const Options& options) {
  std::vector<std::string> missing;
  if (options.service->signsEachRequest && options.key.empty()) {
    missing.emplace_back("--key K (or --app-id, or MEDIATRANSFER_KEY)");
  }
  if (options.service->signsEachRequest && options.secret.empty()) {
    missing.emplace_back("--secret S (or --app-secret, or MEDIATRANSFER_SECRET)");
  }
  if (options.command == Command::media && options.service->hasAlbums && options.album.empty()) {
    missing.push_back("--album ID, which this lists: " + callOf("albums", options));
  }
  if (missing.empty()) return;
  throw Failure(Exit::wrongUse,
                serviceName(options) + " needs more to list anything; give " + listed(missing));
}

}  // namespace

MediaLogin mediaLogin(const Options& options) {
  MediaLogin login{options, {}};
  if (options.token.empty()) {
    const std::optional<ScriptLogin> stored = storedLogin(options);
    if (stored) {
      useStored(login.options, *stored);
      login.origin = stored->origin;
    } else if (options.sandbox) {
      useStandIns(login.options);
    } else {
      throw Failure(Exit::wrongUse, "nobody is signed in to " + serviceName(options) + "; sign in with: " +
                                        callOf("login", options) + " (or give --token T)");
    }
  } else if (options.service->signsEachRequest) {
    if (login.options.key.empty()) login.options.key = options.appId;
    if (login.options.secret.empty()) login.options.secret = options.appSecret;
    if (options.sandbox && login.options.key.empty()) login.options.key = sandbox::flickrApplicationKey;
    if (options.sandbox && login.options.secret.empty()) {
      login.options.secret = sandbox::flickrApplicationSecret;
    }
  }
  requireAll(login.options);
  return login;
}

void requireOrigin(const MediaLogin& login) {
  if (login.origin.empty() || login.options.sandbox) return;
  const std::string server = mediaServiceOrigin(*login.options.service);
  if ((" " + login.origin + " ").find(" " + server + " ") != std::string::npos) return;
  requireSameServer(login.origin, server, callOf("login", login.options));
}

}  // namespace host
