#include "commands/AlbumEntries.h"

#include "options/NameTemplate.h"
#include "options/Suggestion.h"
#include "system/FileNames.h"
#include "system/PercentDecoding.h"
#include <ExternlMediaTransfer/DownloadRecords.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>

namespace host {
namespace {

struct AddressParts {
  std::string_view scheme;  ///< with "://"
  std::string_view server;  ///< without a user
  std::string_view path;
  std::string_view query;
};

AddressParts partsOf(std::string_view url) {
  AddressParts parts;
  url = url.substr(0, url.find('#'));
  const std::size_t question = url.find('?');
  if (question != std::string_view::npos) parts.query = url.substr(question + 1);
  url = url.substr(0, question);
  const std::size_t scheme = url.find("://");
  if (scheme != std::string_view::npos) parts.scheme = url.substr(0, scheme + 3);
  url.remove_prefix(parts.scheme.size());
  parts.server = url.substr(0, url.find('/'));
  parts.path = url.substr(parts.server.size());
  // A user and a password may stand in front of it.
  parts.server.remove_prefix(parts.server.rfind('@') + 1);
  return parts;
}

/// 16 hexadecimal digits (FNV-1a), which nobody has to trust.
std::string hashOf(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  std::string digits;
  for (int shift = 60; shift >= 0; shift -= 4) digits += "0123456789abcdef"[hash >> shift & 0xFU];
  return digits;
}

bool isEnding(std::string_view text) {
  constexpr std::size_t longest = 5;
  return !text.empty() && text.size() <= longest && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  });
}

void setNames(AlbumEntry& entry, std::string_view path) {
  const std::string last = percentDecoded(path.substr(path.rfind('/') + 1)).text;
  const std::size_t dot = last.rfind('.');
  const bool hasEnding = dot != std::string::npos && isEnding(std::string_view(last).substr(dot + 1));
  entry.title = hasEnding ? last.substr(0, dot) : last;
  entry.ending = hasEnding ? lowerCase(last.substr(dot + 1)) : entry.isVideo ? "mp4" : "jpg";
  if (entry.title.empty()) entry.title = entry.isVideo ? "video" : "picture";
}

std::string filled(std::size_t number, std::size_t width) {
  const std::string text = std::to_string(number);
  return std::string(std::max(width, text.size()) - text.size(), '0') + text;
}

}  // namespace

std::vector<AlbumEntry> albumEntries(const std::vector<MediaEvent>& list, std::string_view service) {
  std::map<std::string_view, std::set<std::string_view>> queries;
  for (const MediaEvent& media : list) {
    const AddressParts parts = partsOf(media.url);
    queries[parts.path].insert(parts.query);
  }
  std::vector<AlbumEntry> entries;
  std::set<std::string> seen;
  for (const MediaEvent& media : list) {
    const AddressParts parts = partsOf(media.url);
    AlbumEntry entry;
    // The query signs an address and is another one each time, unless it alone tells files apart. An entry
    // without an address is known by its place.
    std::string identity = std::string(service) + "\n";
    identity +=
        media.url.empty() ? std::to_string(entries.size()) + "\n" + media.thumbnail : std::string(parts.path);
    if (queries[parts.path].size() > 1) identity += "?" + std::string(parts.query);
    entry.id = hashOf(identity);
    if (!seen.insert(entry.id).second) continue;
    entry.url = media.url;
    entry.address = std::string(parts.scheme) + std::string(parts.server) + std::string(parts.path);
    entry.isVideo = media.type == KBL::mediaVideo;
    entry.index = entries.size() + 1;
    setNames(entry, parts.path);
    entries.push_back(entry);
  }
  return entries;
}

std::string entryName(std::string_view nameTemplate, const AlbumEntry& entry, std::size_t count) {
  return safeFileName(filledTemplate(nameTemplate, [&](std::string_view field) -> std::string {
    if (field == "title") return entry.title;
    if (field == "id") return entry.id;
    if (field == "ext") return entry.ending;
    if (field == "type") return entry.isVideo ? "video" : "picture";
    return filled(entry.index, std::to_string(count).size());
  }));
}

}  // namespace host
