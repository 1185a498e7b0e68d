#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace sandbox {

/// The pictures and videos of the made-up users: nothing is stored, everything follows from a user's number
/// (0 for the first) and a place in a list. The first user has a great deal of everything, the second a
/// little, the third nothing.
class MediaLibrary {
 public:
  /// `photos`: how many the first user has at Flickr, and in the first Facebook album.
  explicit MediaLibrary(std::size_t photos) : photos_(photos) {}

  struct Picture {
    std::string id;
    unsigned width = 0;
    unsigned height = 0;
  };

  [[nodiscard]] std::size_t albumCount(std::size_t user) const;
  [[nodiscard]] static std::string albumId(std::size_t user, std::size_t album);
  [[nodiscard]] static std::string albumName(std::size_t album);
  [[nodiscard]] std::size_t photoCount(std::size_t user, std::size_t album) const;
  [[nodiscard]] static Picture photo(std::size_t user, std::size_t album, std::size_t place);

  /// Posts of all kinds; every third is a video that was added.
  [[nodiscard]] std::size_t postCount(std::size_t user) const;
  [[nodiscard]] static bool isAddedVideo(std::size_t post) { return post % 3 == 0; }
  [[nodiscard]] static std::string videoId(std::size_t user, std::size_t place);

  [[nodiscard]] std::size_t flickrCount(std::size_t user) const;
  [[nodiscard]] std::size_t instagramCount(std::size_t user) const;
  /// Pictures outside of albums, of Flickr and Instagram.
  [[nodiscard]] static Picture loosePicture(std::size_t user, std::size_t place);

  /// Paths of the files behind the entries.
  [[nodiscard]] static std::string picturePath(const std::string& id, unsigned width, unsigned height);
  [[nodiscard]] static std::string videoPath(const std::string& id);

 private:
  std::size_t photos_;
};

}  // namespace sandbox
