#include "host/ScriptToken.h"

#include <json/reader.h>
#include <json/value.h>
#include <zlib.h>

#include <exception>
#include <memory>
#include <string_view>

namespace host {
namespace {

/// The form of the package's texts: base64url of a zlib stream of a JSON list.
constexpr std::string_view mark = "mt1.";
constexpr std::size_t largestContent = 65536;

enum Place : Json::ArrayIndex { platformAt, accessAt, refreshAt, secretAt, expiresAt, placeCount = 8 };

std::optional<std::string> bytesOf(std::string_view text) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  std::string bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char letter : text) {
    const std::size_t value = alphabet.find(letter);
    if (value == std::string_view::npos) return std::nullopt;
    bits = (bits << 6 | static_cast<std::uint32_t>(value)) & 0xFFFFFF;
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFF);
  }
  return bytes;
}

std::optional<std::string> inflated(const std::string& packed) {
  std::string content(largestContent, '\0');
  auto size = static_cast<uLongf>(content.size());
  if (::uncompress(reinterpret_cast<Bytef*>(content.data()), &size,
                   reinterpret_cast<const Bytef*>(packed.data()),
                   static_cast<uLong>(packed.size())) != Z_OK) {
    return std::nullopt;
  }
  content.resize(size);
  return content;
}

std::optional<Json::Value> parsed(const std::string& text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = 4;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  try {
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) return std::nullopt;
  } catch (const std::exception&) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

std::optional<ScriptToken> readScriptToken(const std::string& text, const std::string& platform) {
  if (!text.starts_with(mark)) return std::nullopt;
  const std::optional<std::string> packed = bytesOf(std::string_view(text).substr(mark.size()));
  const std::optional<std::string> content = packed ? inflated(*packed) : std::nullopt;
  const std::optional<Json::Value> list = content ? parsed(*content) : std::nullopt;
  if (!list || !list->isArray() || list->size() != placeCount) return std::nullopt;
  const bool hasShape = (*list)[platformAt].isString() && (*list)[accessAt].isString() &&
                        (*list)[secretAt].isString() && (*list)[expiresAt].isInt64();
  if (!hasShape || (*list)[platformAt].asString() != platform) return std::nullopt;
  return ScriptToken{(*list)[accessAt].asString(), (*list)[secretAt].asString(),
                     (*list)[expiresAt].asInt64()};
}

}  // namespace host
