#include "host/ScriptLogins.h"

#include "options/Failure.h"
#include "system/Files.h"
#include <BsNet/cipher.h>
#include <KblUtils/FileUtil.h>
#include <KblUtils/StringUtil.h>

#include <charconv>
#include <vector>

namespace host {
namespace {

constexpr const char* mark = "mediatransfer script login 2";
/// Without an origin.
constexpr const char* formerMark = "mediatransfer script login 1";
constexpr std::size_t cipherBlock = 16;
constexpr std::size_t sizeLimit = std::size_t{1} << 20;

/// Each text with its length in front of it.
std::string packed(const std::vector<std::string>& texts) {
  std::string whole;
  for (const std::string& text : texts) whole += std::to_string(text.size()) + ":" + text;
  return whole;
}

std::optional<std::vector<std::string>> unpacked(const std::string& whole, std::size_t count) {
  std::vector<std::string> texts;
  std::size_t at = 0;
  while (texts.size() < count) {
    std::size_t length = 0;
    const char* const end = whole.data() + whole.size();
    const auto [stop, error] = std::from_chars(whole.data() + at, end, length);
    if (error != std::errc() || stop == end || *stop != ':') return std::nullopt;
    at = static_cast<std::size_t>(stop - whole.data()) + 1;
    if (length > whole.size() - at) return std::nullopt;
    texts.push_back(whole.substr(at, length));
    at += length;
  }
  return texts;
}

std::string enciphered(std::string plain) {
  plain.resize((plain.size() + cipherBlock - 1) / cipherBlock * cipherBlock, '\0');
  std::string hidden(plain.size(), '\0');
  const auto size = static_cast<unsigned>(plain.size());
  if (KBL::aes256Encrypt(plain.data(), hidden.data(), size) != KBL::resultOk) {
    throw Failure(Cause::file,
                  "the login cannot be enciphered: the key cannot be read, unsealed or made; check the "
                  "rights of the data folder, or move 'cipher.key' away and sign in again");
  }
  return hidden;
}

std::optional<std::string> deciphered(const std::string& hidden) {
  if (hidden.empty() || hidden.size() % cipherBlock != 0) return std::nullopt;
  std::string plain(hidden.size(), '\0');
  const auto size = static_cast<unsigned>(hidden.size());
  if (KBL::aes256Decrypt(hidden.data(), plain.data(), size) != KBL::resultOk) return std::nullopt;
  return plain;
}

}  // namespace

ScriptLogins::ScriptLogins(const std::string& cacheFolder, const std::string& platform)
    : path_(cacheFolder + "/" + platform + "_script_login") {}

std::optional<ScriptLogin> ScriptLogins::load() const {
  if (KBL::FileUtil::size(KBL::Path(path_)) > sizeLimit) return std::nullopt;
  const std::optional<std::string> plain = deciphered(contentsOf(path_));
  if (!plain) return std::nullopt;
  auto texts = unpacked(*plain, 5);
  if (texts && texts->at(0) == mark) texts = unpacked(*plain, 6);
  if (!texts || (texts->at(0) != mark && texts->at(0) != formerMark)) return std::nullopt;
  texts->resize(6);
  return ScriptLogin{texts->at(1), texts->at(2), texts->at(3), texts->at(4), texts->at(5)};
}

void ScriptLogins::save(const ScriptLogin& login) const {
  const std::string hidden =
      enciphered(packed({mark, login.user, login.token, login.name, login.categories, login.origin}));
  if (KBL::FileUtil::writePrivateFile(KBL::Path(path_), hidden)) return;
  throw Failure(Cause::file, "the login cannot be kept in '" + path_ + "'; check the folder's rights");
}

bool ScriptLogins::forget() const {
  return KBL::FileUtil::remove(KBL::Path(path_));
}

Person personOf(const ScriptLogin& login) {
  Person person;
  person.user = login.user;
  person.name = login.name;
  person.categories = login.categories;
  return person;
}

std::string newUserUuid() {
  char text[64] = {};
  KblGenerateUuid(text);
  return text;
}

}  // namespace host
