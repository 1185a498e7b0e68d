#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace KBL {

/// The keys of one record as values.
struct InfoEntries {
  std::map<std::string, long long, std::less<>> ints;
  std::map<std::string, std::string, std::less<>> texts;
};

/// Keys of one record behind a lock of its own, which is held for a look-up or an edit alone. A text that was
/// handed out moves to a pool that only grows, equal texts once; one that nobody saw goes when it is
/// replaced.
class InfoStore {
 public:
  [[nodiscard]] long long intValue(const char* key) const;
  /// The text under `key`, valid for the life of the store, or null.
  [[nodiscard]] const char* handOut(const char* key);
  void setInt(const char* key, long long value);
  void setText(const char* key, const char* value);
  void setIntAndText(const char* intKey, long long value, const char* textKey, const char* text);
  void remove(const char* key);

  /// A copy that hands nothing out.
  [[nodiscard]] InfoEntries copy() const;
  void merge(InfoEntries&& entries);
  void replaceAll(InfoEntries&& entries);

 private:
  struct Text {
    std::string own;                         // the value while nobody saw it
    const std::string* handedOut = nullptr;  // then: its place in the pool
    [[nodiscard]] const std::string& value() const { return handedOut != nullptr ? *handedOut : own; }
  };

  void putText(const std::string& key, std::string value);

  mutable std::mutex mutex_;
  std::map<std::string, long long, std::less<>> ints_;
  std::map<std::string, Text, std::less<>> texts_;
  std::set<std::string> pool_;
};

}  // namespace KBL
