#include "sandbox/services/media/MediaFiles.h"

#include "sandbox/base/Sha256.h"
#include "sandbox/base/Text.h"
#include "sandbox/services/media/Jpeg.h"
#include "sandbox/services/media/Mp4.h"

#include <optional>
#include <string_view>

namespace sandbox {

namespace {

constexpr const char* pictures = "/media/pictures/";
constexpr const char* videos = "/media/videos/";
constexpr const char* descriptions = "/sandbox/media/";
constexpr unsigned largestSide = 4096;

std::optional<std::string> withoutEnding(const std::string& name, std::string_view ending) {
  if (!name.ends_with(ending)) return std::nullopt;
  return name.substr(0, name.size() - ending.size());
}

std::optional<unsigned> sideFrom(const std::string& text) {
  unsigned long long side = 0;
  if (!parseNumber(text, side) || side == 0 || side > largestSide) return std::nullopt;
  return static_cast<unsigned>(side);
}

/// "ID_WIDTHxHEIGHT.jpg"
std::optional<std::string> pictureNamed(const std::string& name) {
  const std::optional<std::string> stem = withoutEnding(name, ".jpg");
  if (!stem) return std::nullopt;
  const std::size_t line = stem->find('_');
  const std::size_t cross = stem->find('x', line == std::string::npos ? 0 : line);
  if (line == std::string::npos || cross == std::string::npos) return std::nullopt;
  unsigned long long id = 0;
  const std::optional<unsigned> width = sideFrom(stem->substr(line + 1, cross - line - 1));
  const std::optional<unsigned> height = sideFrom(stem->substr(cross + 1));
  if (!parseNumber(stem->substr(0, line), id) || !width || !height) return std::nullopt;
  return makeJpeg(*width, *height, id);
}

/// "ID.mp4"
std::optional<std::string> videoNamed(const std::string& name) {
  unsigned long long id = 0;
  const std::optional<std::string> stem = withoutEnding(name, ".mp4");
  if (!stem || !parseNumber(*stem, id)) return std::nullopt;
  return makeMp4(320, 180, 30, id);
}

Reply notFound() {
  return {404, "no such file", "text/plain", {}};
}

}  // namespace

void MediaFiles::addTo(Router& router) {
  const auto add = [&](Route route, const char* path, Handler handler) {
    router.add({route, "GET", path, std::move(handler), Endpoint::Body::whole, Endpoint::Path::withRest});
  };
  add(Route::mediaPicture, pictures, [](Call& call) { return picture(call); });
  add(Route::mediaVideo, videos, [](Call& call) { return video(call); });
  add(Route::inspection, descriptions, [](Call& call) { return description(call); });
}

Reply MediaFiles::picture(const Call& call) {
  std::optional<std::string> bytes = pictureNamed(call.rest);
  return bytes ? Reply{200, std::move(*bytes), "image/jpeg", {}} : notFound();
}

Reply MediaFiles::video(const Call& call) {
  std::optional<std::string> bytes = videoNamed(call.rest);
  return bytes ? Reply{200, std::move(*bytes), "video/mp4", {}} : notFound();
}

Reply MediaFiles::description(const Call& call) {
  std::optional<std::string> bytes = pictureNamed(call.rest);
  if (!bytes) bytes = videoNamed(call.rest);
  if (!bytes) return notFound();
  Sha256 hash;
  hash.add(bytes->data(), bytes->size());
  Json::Value value;
  value["sha256"] = hash.hex();
  value["size"] = Json::UInt64(bytes->size());
  return json(value);
}

}  // namespace sandbox
