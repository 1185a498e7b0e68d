#include "foundation/BsNet/client/CurlNetworkClient.h"
#include "foundation/neverFreed.h"
#include <BsNet/NetworkClients.h>

#include <memory>
#include <mutex>
#include <utility>

namespace KBL {
namespace {

struct Installed {
  std::mutex mutex;
  std::shared_ptr<const NetworkClientFactory> factory;  // shared, since a copy may run code of the host's
  NetSettings settings;
};

// Workers may still make clients while the process ends.
Installed& installed() {
  static Installed& instance = neverFreed<Installed>();
  return instance;
}

std::shared_ptr<const NetworkClientFactory> installedFactory() {
  const std::lock_guard lock(installed().mutex);
  return installed().factory;
}

}  // namespace

void setNetworkClientFactory(NetworkClientFactory factory) {
  auto next = factory ? std::make_shared<const NetworkClientFactory>(std::move(factory)) : nullptr;
  // The former factory is destroyed outside the lock: it may hold objects of the host.
  const std::lock_guard lock(installed().mutex);
  installed().factory.swap(next);
}

INetworkClient* makeNetworkClient() {
  try {
    const auto factory = installedFactory();
    return factory != nullptr ? (*factory)() : makeCurlNetworkClient(netSettings());
  } catch (...) {
    return nullptr;
  }
}

void setNetSettings(const NetSettings& settings) {
  {
    const std::lock_guard lock(installed().mutex);
    installed().settings = settings;
  }
  CurlConnections::endIdle();
}

NetSettings netSettings() {
  const std::lock_guard lock(installed().mutex);
  return installed().settings;
}

}  // namespace KBL
