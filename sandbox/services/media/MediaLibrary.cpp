#include "sandbox/services/media/MediaLibrary.h"

#include <array>

namespace sandbox {

namespace {

/// Counts of the first user and of the second; everybody else has nothing.
std::size_t share(std::size_t user, std::size_t first, std::size_t second) {
  return user == 0 ? first : user == 1 ? second : 0;
}

/// Kind, user, album and place, each at digits of their own.
std::string idOf(std::size_t kind, std::size_t user, std::size_t album, std::size_t place) {
  return std::to_string(((kind * 100 + user + 1) * 1000 + album) * 100'000'000 + place);
}

constexpr std::array<const char*, 4> names{"Holidays", "Garden & House", "Z\xC3\xBCrich", "\xE6\x9E\x97"};

}  // namespace

std::size_t MediaLibrary::albumCount(std::size_t user) const {
  return share(user, 57, 3);
}

std::string MediaLibrary::albumId(std::size_t user, std::size_t album) {
  return idOf(1, user, album, 0);
}

std::string MediaLibrary::albumName(std::size_t album) {
  return album < names.size() ? names[album] : "Album " + std::to_string(album + 1);
}

std::size_t MediaLibrary::photoCount(std::size_t user, std::size_t album) const {
  return album == 0 ? share(user, photos_, 4) : 2;
}

MediaLibrary::Picture MediaLibrary::photo(std::size_t user, std::size_t album, std::size_t place) {
  const bool isUpright = place % 2 == 1;
  return {idOf(2, user, album, place), isUpright ? 720U : 960U, isUpright ? 960U : 720U};
}

std::size_t MediaLibrary::postCount(std::size_t user) const {
  return share(user, 40, 2);
}

std::string MediaLibrary::videoId(std::size_t user, std::size_t place) {
  return idOf(3, user, 0, place);
}

std::size_t MediaLibrary::flickrCount(std::size_t user) const {
  return share(user, photos_, 12);
}

std::size_t MediaLibrary::instagramCount(std::size_t user) const {
  return share(user, 75, 31);
}

MediaLibrary::Picture MediaLibrary::loosePicture(std::size_t user, std::size_t place) {
  return {idOf(4, user, 0, place), 1024, 768};
}

std::string MediaLibrary::picturePath(const std::string& id, unsigned width, unsigned height) {
  return "/media/pictures/" + id + "_" + std::to_string(width) + "x" + std::to_string(height) + ".jpg";
}

std::string MediaLibrary::videoPath(const std::string& id) {
  return "/media/videos/" + id + ".mp4";
}

}  // namespace sandbox
