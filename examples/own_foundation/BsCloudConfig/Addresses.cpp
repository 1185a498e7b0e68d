// Server addresses from a map that the host fills.
#include <BsCloudConfig/BsCloudConfig.h>

#include <cstring>
#include <mutex>

namespace {

class Addresses final : public KBL::IBsCloudConfigManager, public KBL::IBsUrlConfig {
 public:
  KBL::IBsUrlConfig* urlConfig() override { return this; }
  void urlForKey(const char* key, char* buffer, int) override {
    if (key == nullptr || buffer == nullptr) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = byKey_.find(key);
    if (found == byKey_.end() || found->second.size() >= KBL::urlBufferSize) return;
    std::memcpy(buffer, found->second.c_str(), found->second.size() + 1);
  }
  void set(std::map<std::string, std::string> byKey) {
    const std::lock_guard<std::mutex> lock(mutex_);
    byKey_.swap(byKey);
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> byKey_;
};

/// Never freed: threads may ask while the process ends.
Addresses& addresses() {
  static auto& instance = *new Addresses;
  return instance;
}

}  // namespace

KBL::IBsCloudConfigManager* getBsCloudConfigManager() {
  return &addresses();
}

// For the host; the library does without.
void KBL::setCloudConfig(const std::map<std::string, std::string>& urlByKey) {
  addresses().set(urlByKey);
}
