#include "foundation/BsNet/records/InfoStore.h"
#include <BsNet/BsInfoReader.h>
#include <BsNet/KnownKeys.h>
#include <KblUtils/CastByName.h>

#include <utility>

namespace KBL {
namespace {

/// Runs an edit; memory that is short is a failure, never an exception out of a record.
template <class Edit>
_Result guarded(Edit&& edit) {
  try {
    std::forward<Edit>(edit)();
    return resultOk;
  } catch (...) {
    return resultFailed;
  }
}

InfoEntries entriesOfForeign(IBsInfoReader& other, const std::vector<std::string>& registered) {
  InfoEntries entries;
  std::vector<std::string> charKeys = knownCharKeys();
  charKeys.insert(charKeys.end(), registered.begin(), registered.end());
  for (const std::string& key : charKeys) {
    if (const char* const text = other.charKeyConfig(key.c_str())) entries.texts[key] = text;
  }
  for (const std::string& key : knownIntKeys()) {
    const long long value = other.intKeyConfig(key.c_str());
    if (value != absentIntValue) entries.ints[key] = value;
  }
  return entries;
}

}  // namespace

BsInfoReader::BsInfoReader(int infoType) : store_(std::make_unique<InfoStore>()), infoType_(infoType) {}
BsInfoReader::~BsInfoReader() = default;

int BsInfoReader::infoType() {
  return infoType_;
}

long long BsInfoReader::intKeyConfig(const char* key) {
  if (key == nullptr || isValidKeyOfIntValue(key) == 0) return absentIntValue;
  return store_->intValue(key);
}

const char* BsInfoReader::charKeyConfig(const char* key) {
  if (key == nullptr || isValidKeyOfCharValue(key) == 0) return nullptr;
  return charKeyConfigNoCheckKey(key);
}

const char* BsInfoReader::charKeyConfigNoCheckKey(const char* key) {
  if (key == nullptr) return nullptr;
  try {
    return store_->handOut(key);
  } catch (...) {
    return nullptr;
  }
}

int BsInfoReader::isValidKeyOfIntValue(const char* key) {
  return key != nullptr ? 1 : 0;
}
int BsInfoReader::isValidKeyOfCharValue(const char* key) {
  return key != nullptr ? 1 : 0;
}

_Result BsInfoReader::updataFrom(IBsInfoReader* other) {
  if (other == nullptr) return resultFailed;
  return guarded([&] { store_->merge(acceptableEntriesOf(*other)); });
}

_Result BsInfoReader::CopyInfo(IBsInfoReader* other) {
  if (other == nullptr) return resultFailed;
  return guarded([&] { store_->replaceAll(acceptableEntriesOf(*other)); });
}

InfoEntries BsInfoReader::acceptableEntriesOf(IBsInfoReader& other) {
  const auto* const ours = dynamic_cast<BsInfoReader*>(&other);
  InfoEntries entries = ours != nullptr ? ours->store_->copy() : entriesOfForeign(other, registeredCharKeys);
  std::erase_if(entries.ints,
                [&](const auto& entry) { return isValidKeyOfIntValue(entry.first.c_str()) == 0; });
  std::erase_if(entries.texts,
                [&](const auto& entry) { return isValidKeyOfCharValue(entry.first.c_str()) == 0; });
  return entries;
}

_Result BsInfoReader::storeInt(const char* key, long long value) {
  if (key == nullptr || isValidKeyOfIntValue(key) == 0) return resultFailed;
  return guarded([&] { store_->setInt(key, value); });
}

_Result BsInfoReader::storeText(const char* key, const char* value) {
  if (key == nullptr || value == nullptr || isValidKeyOfCharValue(key) == 0) return resultFailed;
  return guarded([&] { store_->setText(key, value); });
}

_Result BsInfoReader::storeIntAndText(const char* intKey, long long value, const char* textKey,
                                      const char* text) {
  if (intKey == nullptr || textKey == nullptr || text == nullptr) return resultFailed;
  return guarded([&] { store_->setIntAndText(intKey, value, textKey, text); });
}

void BsInfoReader::removeEntry(const char* key) {
  if (key != nullptr) store_->remove(key);
}

void BsInfoReader::clearEntries() {
  store_->replaceAll({});
}

BsBaseInfoRW::BsBaseInfoRW() : BsBaseInfoRW(0) {}
BsBaseInfoRW::BsBaseInfoRW(int infoType) : BsInfoReader(infoType) {}
BsBaseInfoRW::~BsBaseInfoRW() = default;

void* BsBaseInfoRW::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<BsBaseInfoRW>{"BsBaseInfoRW"});
}

_Result BsBaseInfoRW::setIntKeyConfig(const char* key, long long value) {
  return storeInt(key, value);
}
_Result BsBaseInfoRW::setCharKeyConfig(const char* key, const char* value) {
  return storeText(key, value);
}

_Result BsBaseInfoRW::reset() {
  clearEntries();
  return resultOk;
}

}  // namespace KBL
