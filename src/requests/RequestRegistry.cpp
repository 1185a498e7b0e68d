#include "requests/RequestRegistry.h"

#include "requests/BsExternlMediaAuthRequest.h"

#include <mutex>
#include <unordered_map>

namespace KBL {

namespace {
struct Registry {
  std::mutex mutex;
  std::unordered_map<const IBsRequstCallback*, BsExternlMediaAuthRequest*> requests;
};

// Never freed: sleeping threads release requests while the process ends.
Registry& registry() {
  static Registry& theRegistry = *new Registry;
  return theRegistry;
}
}  // namespace

void enterLiveRequest(BsExternlMediaAuthRequest* request) {
  const std::lock_guard lock(registry().mutex);
  registry().requests.emplace(request, request);
}

void removeLiveRequest(BsExternlMediaAuthRequest* request) {
  const std::lock_guard lock(registry().mutex);
  registry().requests.erase(request);
}

BsExternlMediaAuthRequest* findLiveRequest(const IBsRequstCallback* callback) {
  const std::lock_guard lock(registry().mutex);
  const auto found = registry().requests.find(callback);
  return found == registry().requests.end() ? nullptr : found->second;
}

}  // namespace KBL
