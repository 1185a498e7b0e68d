// Records: the key store, the writable record, the error, the parameters of a plain request, and the two
// records that hosts fill.
#include <BsNet/BsErrorInfo.h>
#include <BsNet/BsInfoReader.h>
#include <BsNet/BsRequestParamReply.h>
#include <BsNet/KnownKeys.h>
#include <BsNet/NetKeys.h>
#include <BsNet/createInfoObject.h>
#include <KblUtils/CastByName.h>
#include <KblUtils/RefPtr.h>

#include <map>
#include <set>
#include <utility>

namespace KBL {

struct InfoEntries {
  std::map<std::string, long long> ints;
  std::map<std::string, std::string> texts;
};

/// Texts stand in a pool that only grows, equal ones once, so that each is good for the life of the record.
class InfoStore {
 public:
  long long number(const char* key) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = ints_.find(key);
    return found != ints_.end() ? found->second : absentIntValue;
  }
  const char* text(const char* key) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = texts_.find(key);
    return found != texts_.end() ? found->second->c_str() : nullptr;
  }
  InfoEntries copy() {
    const std::lock_guard<std::mutex> lock(mutex_);
    InfoEntries entries;
    entries.ints = ints_;
    for (const auto& [key, text] : texts_) entries.texts[key] = *text;
    return entries;
  }
  void merge(const InfoEntries& entries) {
    const std::lock_guard<std::mutex> lock(mutex_);
    add(entries);
  }
  void replace(const InfoEntries& entries) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ints_.clear();
    texts_.clear();
    add(entries);
  }
  void remove(const char* key) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ints_.erase(key);
    texts_.erase(key);
  }

 private:
  void add(const InfoEntries& entries) {
    for (const auto& [key, value] : entries.ints) ints_[key] = value;
    for (const auto& [key, text] : entries.texts) texts_[key] = &*pool_.insert(text).first;
  }

  std::mutex mutex_;
  std::map<std::string, long long> ints_;
  std::map<std::string, const std::string*> texts_;
  std::set<std::string> pool_;
};

namespace {

/// Nothing is thrown out of a record.
template <class Edit>
_Result tried(Edit edit) {
  try {
    edit();
    return resultOk;
  } catch (const std::exception&) {
    return resultFailed;
  }
}

InfoEntries entriesOfOthers(IBsInfoReader& other, std::vector<std::string> charKeys) {
  InfoEntries entries;
  for (const std::string& key : knownCharKeys()) charKeys.push_back(key);
  for (const std::string& key : charKeys) {
    if (const char* const text = other.charKeyConfig(key.c_str())) entries.texts[key] = text;
  }
  for (const std::string& key : knownIntKeys()) {
    const long long value = other.intKeyConfig(key.c_str());
    if (value != absentIntValue) entries.ints[key] = value;
  }
  return entries;
}

template <class Map, class Test>
void keepOnly(Map& map, Test test) {
  for (auto at = map.begin(); at != map.end();)
    at = test(at->first.c_str()) != 0 ? std::next(at) : map.erase(at);
}

}  // namespace

BsInfoReader::BsInfoReader(int infoType) : store_(std::make_unique<InfoStore>()), infoType_(infoType) {}
BsInfoReader::~BsInfoReader() = default;

int BsInfoReader::infoType() {
  return infoType_;
}

long long BsInfoReader::intKeyConfig(const char* key) {
  return isValidKeyOfIntValue(key) != 0 ? store_->number(key) : absentIntValue;
}

const char* BsInfoReader::charKeyConfig(const char* key) {
  return isValidKeyOfCharValue(key) != 0 ? charKeyConfigNoCheckKey(key) : nullptr;
}

const char* BsInfoReader::charKeyConfigNoCheckKey(const char* key) {
  return key != nullptr ? store_->text(key) : nullptr;
}

int BsInfoReader::isValidKeyOfIntValue(const char* key) {
  return key != nullptr ? 1 : 0;
}

int BsInfoReader::isValidKeyOfCharValue(const char* key) {
  return key != nullptr ? 1 : 0;
}

InfoEntries BsInfoReader::acceptableEntriesOf(IBsInfoReader& other) {
  auto* const ours = dynamic_cast<BsInfoReader*>(&other);
  InfoEntries entries = ours != nullptr ? ours->store_->copy() : entriesOfOthers(other, registeredCharKeys);
  keepOnly(entries.ints, [this](const char* key) { return isValidKeyOfIntValue(key); });
  keepOnly(entries.texts, [this](const char* key) { return isValidKeyOfCharValue(key); });
  return entries;
}

_Result BsInfoReader::updataFrom(IBsInfoReader* other) {
  if (other == nullptr) return resultFailed;
  return tried([&] { store_->merge(acceptableEntriesOf(*other)); });
}

_Result BsInfoReader::CopyInfo(IBsInfoReader* other) {
  if (other == nullptr) return resultFailed;
  return tried([&] { store_->replace(acceptableEntriesOf(*other)); });
}

_Result BsInfoReader::storeInt(const char* key, long long value) {
  if (key == nullptr || isValidKeyOfIntValue(key) == 0) return resultFailed;
  return tried([&] { store_->merge({{{key, value}}, {}}); });
}

_Result BsInfoReader::storeText(const char* key, const char* value) {
  if (key == nullptr || value == nullptr || isValidKeyOfCharValue(key) == 0) return resultFailed;
  return tried([&] { store_->merge({{}, {{key, value}}}); });
}

_Result BsInfoReader::storeIntAndText(const char* intKey, long long value, const char* textKey,
                                      const char* text) {
  if (intKey == nullptr || textKey == nullptr || text == nullptr) return resultFailed;
  return tried([&] { store_->merge({{{intKey, value}}, {{textKey, text}}}); });
}

void BsInfoReader::removeEntry(const char* key) {
  if (key != nullptr) store_->remove(key);
}

void BsInfoReader::clearEntries() {
  store_->replace({});
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

// --- The error

namespace {
constexpr const char* codeKey = "own_error_code";
constexpr const char* originKey = "own_error_origin";
constexpr const char* messageKey = "own_error_message";
}  // namespace

BsErrorInfo::BsErrorInfo() = default;
BsErrorInfo::~BsErrorInfo() = default;

int BsErrorInfo::errorCode() {
  const long long code = intKeyConfig(codeKey);
  return code == absentIntValue ? ErrorCode::none : static_cast<int>(code);
}

int BsErrorInfo::originCode() {
  const long long code = intKeyConfig(originKey);
  return code == absentIntValue ? 0 : static_cast<int>(code);
}

bool BsErrorInfo::failed() {
  return errorCode() != ErrorCode::none;
}

const char* BsErrorInfo::errorMessage() {
  const char* const message = charKeyConfig(messageKey);
  return message != nullptr ? message : "";
}

void BsErrorInfo::setError(int code, const char* message) {
  (void)storeIntAndText(codeKey, code, messageKey, message != nullptr ? message : "");
}

_Result BsErrorInfo::setOriginCode(const int& code) {
  return storeInt(originKey, code);
}

_Result BsErrorInfo::reset() {
  clearEntries();
  return resultOk;
}

void* BsErrorInfo::QueryInterfaceByName(const char* name) {
  return castByName(this, name, Named<IBsErrorInfo>{"IBsErrorInfo"});
}

ErrorState errorStateOf(IBsErrorInfo& error) {
  BsErrorInfo copy;  // of one moment, where it can be had
  const bool isOurs = dynamic_cast<BsErrorInfo*>(&error) != nullptr && copy.CopyInfo(&error) == resultOk;
  IBsErrorInfo& source = isOurs ? copy : error;
  return {source.errorCode(), source.errorMessage()};
}

// --- The parameters of a plain request

BsRequestParamReply::BsRequestParamReply() = default;
BsRequestParamReply::~BsRequestParamReply() = default;

const char* BsRequestParamReply::getRequestUrl() {
  return charKeyConfig(RequestParamCharKey::url);
}

const char* BsRequestParamReply::getRequestBody() {
  return charKeyConfig(RequestParamCharKey::body);
}

_BodyType BsRequestParamReply::getBodyType() {
  const long long type = intKeyConfig(RequestParamIntKey::bodyType);
  return type == bodyJson || type == bodyForm ? static_cast<_BodyType>(type) : bodyNone;
}

const char* BsRequestParamReply::getRequestheads() {
  return charKeyConfig(RequestParamCharKey::heads);
}

_Result BsRequestParamReply::setPubParam(IBsPubInfo* info) {
  RefPtr<IBsPubInfo> former = shareRef(info);
  const std::lock_guard<std::mutex> lock(pubInfoMutex_);
  pubInfo_.swap(former);
  return resultOk;
}

IBsPubInfo* BsRequestParamReply::getPubParam() {
  const std::lock_guard<std::mutex> lock(pubInfoMutex_);
  return pubInfo_.get();
}

const char* BsRequestParamReply::getResponseContent() {
  return charKeyConfig(ResponseCharKey::content);
}

_Result BsRequestParamReply::parseResponse(const char* content, long long size) {
  if (content == nullptr || size < 0) return resultFailed;
  const std::string text(content, static_cast<std::size_t>(size));
  return setCharKeyConfig(ResponseCharKey::content, text.c_str());
}

_Result BsRequestParamReply::abord(int flag) {
  abordFlag_ = flag;
  return resultOk;
}

int BsRequestParamReply::isAbord() {
  return abordFlag_;
}

IBsBaseTackInfo* BsRequestParamReply::getBsBaseTackInfo() {
  return nullptr;
}

// --- What hosts fill

namespace {

class PubInfo final : public BsBaseInfoRW, public virtual IBsPubInfo {
 public:
  PubInfo() : BsBaseInfoRW(infoObjectPubInfo) {}
  void* QueryInterfaceByName(const char* name) override {
    return castByName(this, name, Named<IBsPubInfo>{"IBsPubInfo"}, Named<BsBaseInfoRW>{"BsBaseInfoRW"});
  }
  _Result removeKey(const char* key) override {
    removeEntry(key);
    return key != nullptr ? resultOk : resultFailed;
  }
};

class ProxyInfo final : public BsBaseInfoRW, public virtual IBsServerProxyInfo {
 public:
  ProxyInfo() : BsBaseInfoRW(infoObjectServerProxy) {}
  void* QueryInterfaceByName(const char* name) override {
    return castByName(this, name, Named<IBsServerProxyInfo>{"IBsServerProxyInfo"},
                      Named<BsBaseInfoRW>{"BsBaseInfoRW"});
  }
};

}  // namespace
}  // namespace KBL

KBL::IBsInfoReader* createInfoObject(int type) try {
  if (type == KBL::infoObjectPubInfo) return KBL::makeRef<KBL::PubInfo>().leak();
  if (type == KBL::infoObjectServerProxy) return KBL::makeRef<KBL::ProxyInfo>().leak();
  return nullptr;
} catch (const std::exception&) {
  return nullptr;
}
