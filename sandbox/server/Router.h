#pragma once

#include "sandbox/server/Endpoint.h"

#include <string>
#include <vector>

namespace sandbox {

/// The table of all endpoints. Filled before the server starts, only read afterwards.
class Router {
 public:
  struct Match {
    const Endpoint* endpoint = nullptr;  ///< null when nothing answers here
    std::string rest;
    bool otherMethod = false;  ///< the path is known, the method is not
  };

  void add(Endpoint endpoint);
  /// `path` as sent, without the query.
  [[nodiscard]] Match find(const std::string& method, const std::string& path) const;

 private:
  std::vector<Endpoint> endpoints_;
};

}  // namespace sandbox
