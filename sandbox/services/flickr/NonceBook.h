#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace sandbox {

/// Which nonces were used, for everything that is signed at one service: one is good once for an application,
/// a token and a timestamp. Thread-safe.
class NonceBook {
 public:
  /// So far a timestamp may lie from the service's clock.
  static constexpr std::chrono::minutes clockTolerance{10};

  /// False when it was used before.
  bool take(const std::string& consumerKey, const std::string& token, const std::string& timestamp,
            const std::string& nonce) {
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard lock(mutex_);
    // One has to be remembered only as long as its timestamp can be good.
    std::erase_if(used_, [&](const auto& one) { return now - one.second > 2 * clockTolerance; });
    return used_.emplace(consumerKey + '\n' + token + '\n' + timestamp + '\n' + nonce, now).second;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::chrono::steady_clock::time_point> used_;
};

}  // namespace sandbox
