// Makes exchanges over and over on detached threads and returns from main under them.
#include <BsNet/INetworkClient.h>
#include <BsNet/NetworkClients.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const std::string url = arguments[1];
  KBL::NetSettings settings;
  settings.extraCaFile = arguments[2];
  KBL::setNetSettings(settings);
  static std::atomic<int> running{0};
  for (int i = 0; i < 4; ++i) {
    std::thread([url] {
      ++running;
      while (true) {
        const KBL::OwnedNetworkClient client(KBL::makeNetworkClient());
        if (client == nullptr) return;
        (void)client->perform(KBL::URL::FromString(url), KBL::httpGet, nullptr, nullptr, nullptr, nullptr);
      }
    }).detach();
  }
  while (running < 4) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  return 0;
}
