#pragma once

#include "sandbox/services/Service.h"

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace sandbox {

/// What one open page has been told, and what is new to it, as server-sent events. Used by one thread.
class PageNews {
 public:
  explicit PageNews(const ServiceContext& context) : context_(context) {}

  /// The first call tells everything; the later ones what has changed since, often nothing.
  [[nodiscard]] std::string next();

 private:
  void tellExchanges();
  void tell(const std::string& event, const Json::Value& data);
  /// As tell, unless the page has heard just that.
  void tellIfNew(const std::string& event, const Json::Value& data) { tellIfNew(event, event, data); }
  /// The same of one thing among several of its kind.
  void tellIfNew(const std::string& thing, const std::string& event, const Json::Value& data);
  void keepAlive();

  const ServiceContext& context_;
  std::uint64_t change_ = 0;
  std::chrono::steady_clock::time_point lastWord_;
  std::string news_;
  std::map<std::string, std::string> told_;  ///< by thing
};

}  // namespace sandbox
