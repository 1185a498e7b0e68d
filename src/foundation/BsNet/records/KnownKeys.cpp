#include "foundation/neverFreed.h"
#include <BsNet/KnownKeys.h>
#include <BsNet/NetKeys.h>

#include <mutex>
#include <set>

namespace KBL {

const char* PubCharKey::appSecret = "X-App-Secret";
const char* PubCharKey::clientType = "X-Client-Type";
const char* PubCharKey::clientSn = "X-Client-Sn";
const char* PubCharKey::appKey = "X-App-Key";
const char* PubCharKey::prodId = "X-Prod-Id";
const char* PubCharKey::prodVer = "X-Prod-Ver";
const char* PubCharKey::contentType = "Content-Type";
const char* PubCharKey::ver = "X-Ver";
const char* PubCharKey::lang = "Accept-Language";

const char* RequestParamCharKey::url = "request_url";
const char* RequestParamCharKey::body = "request_body";
const char* RequestParamCharKey::heads = "request_heads";
const char* RequestParamIntKey::bodyType = "request_body_type";

const char* ResponseCharKey::content = "response_content";

const char* ServerProxyCharKey::server = "server_proxy_server";
const char* ServerProxyCharKey::user = "server_proxy_user";
const char* ServerProxyCharKey::password = "server_proxy_password";
const char* ServerProxyIntKey::type = "server_proxy_type";
const char* ServerProxyIntKey::mode = "server_proxy_mode";
const char* ServerProxyIntKey::port = "server_proxy_port";

namespace {

struct KnownKeys {
  std::mutex mutex;
  std::set<std::string> chars{PubCharKey::appSecret,     PubCharKey::clientType,
                              PubCharKey::clientSn,      PubCharKey::appKey,
                              PubCharKey::prodId,        PubCharKey::prodVer,
                              PubCharKey::contentType,   PubCharKey::ver,
                              PubCharKey::lang,          RequestParamCharKey::url,
                              RequestParamCharKey::body, RequestParamCharKey::heads,
                              ResponseCharKey::content,  ServerProxyCharKey::server,
                              ServerProxyCharKey::user,  ServerProxyCharKey::password};
  std::set<std::string> ints{RequestParamIntKey::bodyType, ServerProxyIntKey::type, ServerProxyIntKey::mode,
                             ServerProxyIntKey::port};
};

// Detached threads may still copy records while the process ends.
KnownKeys& known() {
  static KnownKeys& keys = neverFreed<KnownKeys>();
  return keys;
}

void add(std::set<std::string>& list, const std::vector<std::string>& keys) {
  const std::lock_guard lock(known().mutex);
  list.insert(keys.begin(), keys.end());
}

std::vector<std::string> copy(const std::set<std::string>& list) {
  const std::lock_guard lock(known().mutex);
  return {list.begin(), list.end()};
}

}  // namespace

void registerKnownCharKeys(const std::vector<std::string>& keys) {
  add(known().chars, keys);
}
void registerKnownIntKeys(const std::vector<std::string>& keys) {
  add(known().ints, keys);
}
std::vector<std::string> knownCharKeys() {
  return copy(known().chars);
}
std::vector<std::string> knownIntKeys() {
  return copy(known().ints);
}

}  // namespace KBL
