#include "foundation/BsNet/records/InfoStore.h"

#include <KblUtils/Result.h>

#include <utility>

namespace KBL {

long long InfoStore::intValue(const char* key) const {
  const std::lock_guard lock(mutex_);
  const auto found = ints_.find(key);
  return found == ints_.end() ? absentIntValue : found->second;
}

const char* InfoStore::handOut(const char* key) {
  const std::lock_guard lock(mutex_);
  const auto found = texts_.find(key);
  if (found == texts_.end()) return nullptr;
  Text& text = found->second;
  if (text.handedOut == nullptr) {
    text.handedOut = &*pool_.insert(std::move(text.own)).first;
    text.own = {};
  }
  return text.handedOut->c_str();
}

void InfoStore::setInt(const char* key, long long value) {
  const std::lock_guard lock(mutex_);
  ints_[key] = value;
}

void InfoStore::setText(const char* key, const char* value) {
  const std::lock_guard lock(mutex_);
  putText(key, value);
}

void InfoStore::setIntAndText(const char* intKey, long long value, const char* textKey, const char* text) {
  const std::lock_guard lock(mutex_);
  putText(textKey, text);
  ints_[intKey] = value;
}

void InfoStore::remove(const char* key) {
  const std::lock_guard lock(mutex_);
  ints_.erase(key);
  texts_.erase(key);
}

InfoEntries InfoStore::copy() const {
  const std::lock_guard lock(mutex_);
  InfoEntries entries;
  entries.ints = ints_;
  for (const auto& [key, text] : texts_) entries.texts.emplace_hint(entries.texts.end(), key, text.value());
  return entries;
}

void InfoStore::merge(InfoEntries&& entries) {
  const std::lock_guard lock(mutex_);
  for (const auto& [key, value] : entries.ints) ints_[key] = value;
  for (auto& [key, text] : entries.texts) putText(key, std::move(text));
}

void InfoStore::replaceAll(InfoEntries&& entries) {
  const std::lock_guard lock(mutex_);
  ints_ = std::move(entries.ints);
  std::erase_if(texts_, [&](const auto& entry) { return !entries.texts.contains(entry.first); });
  for (auto& [key, text] : entries.texts) putText(key, std::move(text));
}

void InfoStore::putText(const std::string& key, std::string value) {
  Text& text = texts_[key];
  if (text.value() == value) return;
  text.own = std::move(value);
  text.handedOut = nullptr;
}

}  // namespace KBL
