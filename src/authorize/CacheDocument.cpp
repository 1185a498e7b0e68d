#include "authorize/CacheDocument.h"

#include "json/JsonAccess.h"

#include <json/value.h>

#include <memory>
#include <utility>

namespace KBL {

namespace {
constexpr std::size_t cipherBlock = 16;

struct TextRow {
  const char* key;
  std::string ExternlMediaCacheInfo::*field;
};
constexpr TextRow textRows[] = {
    {"third_access_token", &ExternlMediaCacheInfo::thirdAccessToken},
    {"access_token", &ExternlMediaCacheInfo::accessToken},
    {"refresh_token", &ExternlMediaCacheInfo::refreshToken},
    {"user_account", &ExternlMediaCacheInfo::userAccount},
    {"user_first_name", &ExternlMediaCacheInfo::userFirstName},
    {"user_last_name", &ExternlMediaCacheInfo::userLastName},
    {"user_nick_name", &ExternlMediaCacheInfo::userNickName},
    {"user_avatar_local", &ExternlMediaCacheInfo::userAvatarLocal},
    {"user_avatar_url", &ExternlMediaCacheInfo::userAvatarUrl},
    {"video_categories", &ExternlMediaCacheInfo::videoCategories},
    {"user_uuid", &ExternlMediaCacheInfo::userUuid},
    {"user_account_uid", &ExternlMediaCacheInfo::userAccountUid},
    {"disk_name", &ExternlMediaCacheInfo::diskName},
};

constexpr const char* expiresInKey = "access_token_expires_in";
constexpr const char* expiresTimeoutKey = "access_token_expires_timeout";
constexpr const char* diskTypeKey = "disk_type";
constexpr const char* savedAtKey = "save_date_time";  // for people who look into a file; never read back

Json::Value recordToJson(const ExternlMediaCacheInfo& record, const std::string& savedAt) {
  Json::Value json(Json::objectValue);
  for (const TextRow& row : textRows) json[row.key] = record.*row.field;
  json[expiresInKey] = Json::Int64{record.expiresIn};
  json[expiresTimeoutKey] = Json::Int64{record.expiresTimeout};
  json[diskTypeKey] = record.diskType;
  json[savedAtKey] = savedAt;
  return json;
}

ExternlMediaCacheInfo recordFromJson(const Json::Value& json) {
  ExternlMediaCacheInfo record;
  for (const TextRow& row : textRows) record.*row.field = jsonText(json, row.key);
  record.expiresIn = jsonInt64(json, expiresInKey);
  record.expiresTimeout = jsonInt64(json, expiresTimeoutKey);
  record.diskType = jsonInt(json, diskTypeKey);
  return record;
}

/// The deciphered text up to its first zero byte. A failing cipher leaves zeros, which read as no document.
std::string decipher(const std::string& text, const CipherKey& key) {
  const int length = static_cast<int>(text.size());
  const std::unique_ptr<char[]> bytes(hexStr2Bytes(text.c_str(), length));
  if (bytes == nullptr) return {};
  std::string plain(text.size() / 2 + 1, '\0');
  key.decrypt(bytes.get(), plain.data(), static_cast<unsigned>(text.size() / 2));
  plain.resize(plain.find('\0'));
  return plain;
}
}  // namespace

std::string cacheDocument(const CacheEntries& list, const std::string& savedAt) {
  Json::Value root;
  for (const ExternlMediaCacheInfo& record : list) root.append(recordToJson(record, savedAt));
  return compactJson(root);
}

std::string padCacheDocument(std::string document) {
  const std::size_t rest = document.size() % cipherBlock;
  if (rest != 0) document.append(cipherBlock - rest, '1');
  return document;
}

std::optional<std::string> sealCacheDocument(const std::string& padded, const CipherKey& key) {
  if (padded.size() > maxCacheTextSize / 2) return std::nullopt;
  std::string sealed(padded.size() + 1, '\0');
  if (key.encrypt(padded.c_str(), sealed.data(), static_cast<unsigned>(padded.size())) != resultOk) {
    return std::nullopt;
  }
  std::string digits(2 * padded.size() + 1, '\0');
  Bytes2HexStr(reinterpret_cast<unsigned char*>(sealed.data()), static_cast<int>(padded.size()),
               reinterpret_cast<unsigned char*>(digits.data()));
  digits.pop_back();
  return digits;
}

std::optional<CacheEntries> openCacheText(const std::string& text, const CipherKey& key) {
  // A check of the digits' number and nothing more; a good text is a multiple of 32 digits.
  if (text.empty() || text.size() % cipherBlock != 0 || text.size() > maxCacheTextSize) return std::nullopt;
  const std::string plain = decipher(text, key);
  const std::size_t end = plain.rfind(']');
  if (end == std::string::npos) return std::nullopt;
  Json::Value root;
  if (!parseJson(plain.substr(0, end + 1), ownFileForm, root) || !root.isArray()) return std::nullopt;
  CacheEntries list;
  for (const Json::Value& json : root) list.push_back(recordFromJson(json));
  return list;
}

}  // namespace KBL
