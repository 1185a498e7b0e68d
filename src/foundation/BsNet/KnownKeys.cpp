#include "foundation/BsNet/KnownKeys.h"

#include "foundation/BsNet/NetKeys.h"

#include <mutex>
#include <set>

namespace KBL {
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

// Never freed: detached threads may still copy records while the process ends.
KnownKeys& known() {
  static auto* const keys = new KnownKeys;
  return *keys;
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
