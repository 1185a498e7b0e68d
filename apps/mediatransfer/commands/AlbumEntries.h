#pragma once

#include "options/Platforms.h"
#include "report/Events.h"

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// A picture or video of an album, with what its address tells of it: the services' lists tell no more.
struct AlbumEntry {
  std::string id;       ///< the same in each list of the service, whatever signs its address
  std::string url;      ///< empty where the service gives none
  std::string address;  ///< without what signs it
  std::string title;
  std::string ending;  ///< without a dot
  bool isVideo = false;
  std::size_t index = 0;  ///< the first has 1
};

/// The entries of a list in their order, each of them once.
[[nodiscard]] std::vector<AlbumEntry> albumEntries(const std::vector<MediaEvent>& list,
                                                   std::string_view service);

/// The name that a template gives an entry of a list of `count`, as every system takes it.
[[nodiscard]] std::string entryName(std::string_view nameTemplate, const AlbumEntry& entry,
                                    std::size_t count);

}  // namespace host
