#include "foundation/BsNet/NetworkClients.h"

#include "foundation/BsNet/CurlNetworkClient.h"

#include <mutex>
#include <utility>

namespace KBL {
namespace {

struct Installed {
  std::mutex mutex;
  NetworkClientFactory factory;
  NetSettings settings;
};

// Never freed: workers may still make clients while the process ends.
Installed& installed() {
  static auto* const instance = new Installed;
  return *instance;
}

NetworkClientFactory installedFactory() {
  const std::lock_guard lock(installed().mutex);
  return installed().factory;
}

}  // namespace

void setNetworkClientFactory(NetworkClientFactory factory) {
  // The former factory is destroyed outside the lock: it may hold objects of the host.
  const std::lock_guard lock(installed().mutex);
  installed().factory.swap(factory);
}

INetworkClient* makeNetworkClient() {
  try {
    const NetworkClientFactory factory = installedFactory();
    return factory ? factory() : makeCurlNetworkClient(netSettings());
  } catch (...) {
    return nullptr;
  }
}

void setNetSettings(const NetSettings& settings) {
  const std::lock_guard lock(installed().mutex);
  installed().settings = settings;
}

NetSettings netSettings() {
  const std::lock_guard lock(installed().mutex);
  return installed().settings;
}

}  // namespace KBL
