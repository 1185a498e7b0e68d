#include "authorize/CacheDocument.h"

#include "json/JsonAccess.h"

#include <json/value.h>

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <variant>

namespace KBL {

namespace {
constexpr std::size_t cipherBlock = 16;

using TextField = std::string ExternlMediaCacheInfo::*;
using SecondsField = std::int64_t ExternlMediaCacheInfo::*;
using NumberField = std::int32_t ExternlMediaCacheInfo::*;
/// The moment of the save, for people who look into a file; never read back.
struct SavedAt {};

struct Row {
  std::string_view key;
  std::variant<TextField, SecondsField, NumberField, SavedAt> field;
};
/// The members of a user's object in the order in which they are written, which is that of their keys' bytes.
constexpr Row rows[] = {
    {"access_token", &ExternlMediaCacheInfo::accessToken},
    {"access_token_expires_in", &ExternlMediaCacheInfo::expiresIn},
    {"access_token_expires_timeout", &ExternlMediaCacheInfo::expiresTimeout},
    {"disk_name", &ExternlMediaCacheInfo::diskName},
    {"disk_type", &ExternlMediaCacheInfo::diskType},
    {"refresh_token", &ExternlMediaCacheInfo::refreshToken},
    {"save_date_time", SavedAt{}},
    {"third_access_token", &ExternlMediaCacheInfo::thirdAccessToken},
    {"user_account", &ExternlMediaCacheInfo::userAccount},
    {"user_account_uid", &ExternlMediaCacheInfo::userAccountUid},
    {"user_avatar_local", &ExternlMediaCacheInfo::userAvatarLocal},
    {"user_avatar_url", &ExternlMediaCacheInfo::userAvatarUrl},
    {"user_first_name", &ExternlMediaCacheInfo::userFirstName},
    {"user_last_name", &ExternlMediaCacheInfo::userLastName},
    {"user_nick_name", &ExternlMediaCacheInfo::userNickName},
    {"user_uuid", &ExternlMediaCacheInfo::userUuid},
    {"video_categories", &ExternlMediaCacheInfo::videoCategories},
};

/// Room that is taken for a user before the texts are known.
constexpr std::size_t usualRecordBytes = 1024;

/// Writes one user's members behind what has been written. No tree of values is built: with many users that
/// costs more than all the rest of a save.
class RecordWriter {
 public:
  RecordWriter(const ExternlMediaCacheInfo& record, const std::string& savedAt, std::string& out)
      : record_(record), savedAt_(savedAt), out_(out) {}

  void operator()(TextField field) { appendJsonText(out_, record_.*field); }
  void operator()(SecondsField field) { out_ += std::to_string(record_.*field); }
  void operator()(NumberField field) { out_ += std::to_string(record_.*field); }
  void operator()(SavedAt) { appendJsonText(out_, savedAt_); }

 private:
  const ExternlMediaCacheInfo& record_;
  const std::string& savedAt_;
  std::string& out_;
};

void writeRecord(const ExternlMediaCacheInfo& record, const std::string& savedAt, std::string& out) {
  RecordWriter writer(record, savedAt, out);
  char before = '{';
  for (const Row& row : rows) {
    out += std::exchange(before, ',');
    out += '"';
    out += row.key;
    out += "\":";
    std::visit(writer, row.field);
  }
  out += '}';
}

class RecordReader {
 public:
  RecordReader(const Json::Value& json, const char* key, ExternlMediaCacheInfo& record)
      : json_(json), key_(key), record_(record) {}

  void operator()(TextField field) { record_.*field = jsonText(json_, key_); }
  void operator()(SecondsField field) { record_.*field = jsonInt64(json_, key_); }
  void operator()(NumberField field) { record_.*field = jsonInt(json_, key_); }
  void operator()(SavedAt) {}

 private:
  const Json::Value& json_;
  const char* key_;
  ExternlMediaCacheInfo& record_;
};

ExternlMediaCacheInfo recordFromJson(const Json::Value& json) {
  ExternlMediaCacheInfo record;
  for (const Row& row : rows) std::visit(RecordReader(json, row.key.data(), record), row.field);
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
  if (list.empty()) return "null\n";
  std::string document;
  document.reserve(list.size() * usualRecordBytes);
  char before = '[';
  for (const CacheEntry& user : list) {
    document += std::exchange(before, ',');
    writeRecord(*user, savedAt, document);
  }
  document += "]\n";
  return document;
}

std::string padCacheDocument(std::string document) {
  const std::size_t rest = document.size() % cipherBlock;
  if (rest != 0) document.append(cipherBlock - rest, '1');
  return document;
}

std::optional<std::string> sealCacheDocument(std::string padded, const CipherKey& key) {
  if (padded.size() > maxCacheTextSize / 2) return std::nullopt;
  if (key.encrypt(padded.data(), padded.data(), static_cast<unsigned>(padded.size())) != resultOk) {
    return std::nullopt;
  }
  std::string digits(2 * padded.size(), '\0');
  Bytes2HexStr(reinterpret_cast<unsigned char*>(padded.data()), static_cast<int>(padded.size()),
               reinterpret_cast<unsigned char*>(digits.data()));
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
  for (const Json::Value& json : root) list.emplace_back(recordFromJson(json));
  return list;
}

}  // namespace KBL
