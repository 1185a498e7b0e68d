#pragma once

#include <json/value.h>

#include <functional>
#include <string>
#include <vector>

namespace sandbox {

/// What is kept under one id.
struct StateRow {
  std::string id;
  Json::Value record;
};

/// One table of the state file, and the book that knows its rows.
struct StateTable {
  std::string name;
  /// Hands out what is new or changed since the last time.
  std::function<std::vector<StateRow>()> take;
  /// They could not be written and are handed out once more.
  std::function<void(const std::vector<StateRow>& rows)> putBack;
  /// Takes in what another process wrote. False: it is long over and need not be kept.
  std::function<bool(const StateRow& row)> merge;
};

}  // namespace sandbox
