// The texts of the foundation's keys, and the keys of records that are copied from elsewhere.
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

const char* RequestParamCharKey::url = "own_url";
const char* RequestParamCharKey::body = "own_body";
const char* RequestParamCharKey::heads = "own_heads";
const char* RequestParamIntKey::bodyType = "own_body_type";
const char* ResponseCharKey::content = "own_content";

const char* ServerProxyCharKey::server = "own_proxy_server";
const char* ServerProxyCharKey::user = "own_proxy_user";
const char* ServerProxyCharKey::password = "own_proxy_password";
const char* ServerProxyIntKey::type = "own_proxy_type";
const char* ServerProxyIntKey::mode = "own_proxy_mode";
const char* ServerProxyIntKey::port = "own_proxy_port";

namespace {

struct KeyList {
  explicit KeyList(std::set<std::string> given) : keys(std::move(given)) {}

  void add(const std::vector<std::string>& more) {
    const std::lock_guard<std::mutex> lock(mutex);
    keys.insert(more.begin(), more.end());
  }
  std::vector<std::string> all() {
    const std::lock_guard<std::mutex> lock(mutex);
    return {keys.begin(), keys.end()};
  }

  std::mutex mutex;
  std::set<std::string> keys;
};

KeyList& charKeys() {
  static auto& list =
      *new KeyList({PubCharKey::appSecret, PubCharKey::clientType, PubCharKey::clientSn, PubCharKey::appKey,
                    PubCharKey::prodId, PubCharKey::prodVer, PubCharKey::contentType, PubCharKey::ver,
                    PubCharKey::lang, RequestParamCharKey::url, RequestParamCharKey::body,
                    RequestParamCharKey::heads, ResponseCharKey::content, ServerProxyCharKey::server,
                    ServerProxyCharKey::user, ServerProxyCharKey::password});
  return list;
}

KeyList& intKeys() {
  static auto& list = *new KeyList({RequestParamIntKey::bodyType, ServerProxyIntKey::type,
                                    ServerProxyIntKey::mode, ServerProxyIntKey::port});
  return list;
}

}  // namespace

void registerKnownCharKeys(const std::vector<std::string>& keys) {
  charKeys().add(keys);
}
void registerKnownIntKeys(const std::vector<std::string>& keys) {
  intKeys().add(keys);
}
std::vector<std::string> knownCharKeys() {
  return charKeys().all();
}
std::vector<std::string> knownIntKeys() {
  return intKeys().all();
}

}  // namespace KBL
