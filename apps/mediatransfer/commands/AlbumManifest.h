#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace host {

/// What a folder has of an album: a file of its own in there, which is replaced as a whole.
class AlbumManifest {
 public:
  static constexpr const char* fileName = "mediatransfer-manifest.json";

  enum class Status {
    pending,  ///< the name is its own, the file is not there yet
    stored,
    failed
  };
  struct Entry {
    std::string id;
    std::string name;     ///< of the file
    std::string address;  ///< without what signs it
    bool isVideo = false;
    std::uint64_t size = 0;
    Status status = Status::pending;
  };

  /// Reads the manifest of the folder, where there is one. Throws Failure for one that cannot be read.
  explicit AlbumManifest(std::string folder);

  /// Null for an entry that the folder does not know.
  [[nodiscard]] const Entry* find(const std::string& id) const;
  /// Puts the entry in the place of the one with its id, or behind the others.
  void put(Entry entry);
  [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }

  /// True when the file is there as the manifest knows it.
  [[nodiscard]] bool hasFile(const Entry& entry) const;
  /// UTF-8.
  [[nodiscard]] std::string pathOf(const std::string& name) const { return folder_ + "/" + name; }

  /// Throws Failure when the folder does not take it.
  void save() const;

 private:
  std::string folder_;
  std::vector<Entry> entries_;
  std::map<std::string, std::size_t> places_;
};

}  // namespace host
