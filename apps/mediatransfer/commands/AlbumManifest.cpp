#include "commands/AlbumManifest.h"

#include "options/Failure.h"
#include "system/FileNames.h"
#include "system/Files.h"
#include "system/Utf8Path.h"
#include <KblUtils/FileUtil.h>
#include <KblUtils/Path.h>

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <array>
#include <exception>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

namespace host {
namespace {

constexpr int version = 1;
constexpr std::uint64_t sizeLimit = std::uint64_t{256} << 20;

constexpr std::array<std::pair<AlbumManifest::Status, const char*>, 3> statusNames{{
    {AlbumManifest::Status::pending, "pending"},
    {AlbumManifest::Status::stored, "stored"},
    {AlbumManifest::Status::failed, "failed"},
}};

const char* nameOf(AlbumManifest::Status status) {
  for (const auto& [known, name] : statusNames) {
    if (known == status) return name;
  }
  return "";
}

Json::Value parsed(const std::string& text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = 8;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  try {
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) return {};
  } catch (const std::exception&) {
    return {};
  }
  return value;
}

std::string textIn(const Json::Value& object, const char* name) {
  return object[name].isString() ? object[name].asString() : std::string();
}

AlbumManifest::Entry entryOf(const Json::Value& object) {
  AlbumManifest::Entry entry;
  if (!object.isObject()) return entry;
  entry.id = textIn(object, "id");
  entry.name = textIn(object, "name");
  entry.address = textIn(object, "address");
  entry.isVideo = textIn(object, "type") == "video";
  if (object["size"].isUInt64()) entry.size = object["size"].asUInt64();
  for (const auto& [status, name] : statusNames) {
    if (textIn(object, "status") == name) entry.status = status;
  }
  return entry;
}

}  // namespace

AlbumManifest::AlbumManifest(std::string folder) : folder_(std::move(folder)) {
  const std::string path = pathOf(fileName);
  std::error_code error;
  if (!std::filesystem::exists(pathFromUtf8(path), error)) return;
  if (KBL::FileUtil::size(KBL::Path(path)) <= sizeLimit && opensForReading(path)) {
    const Json::Value value = parsed(contentsOf(path));
    if (value.isObject() && value["version"] == version && value["entries"].isArray()) {
      for (const Json::Value& object : value["entries"]) {
        const Entry entry = entryOf(object);
        // No name that somebody else has written leads out of the folder.
        if (!entry.id.empty() && safeFileName(entry.name) == entry.name) put(entry);
      }
      return;
    }
  }
  throw Failure(Cause::file,
                "the manifest '" + path +
                    "' cannot be read; check its rights, take it away to fetch all anew, or give "
                    "another folder");
}

const AlbumManifest::Entry* AlbumManifest::find(const std::string& id) const {
  const auto place = places_.find(id);
  return place == places_.end() ? nullptr : &entries_[place->second];
}

void AlbumManifest::put(Entry entry) {
  const auto [place, isNew] = places_.try_emplace(entry.id, entries_.size());
  if (isNew) {
    entries_.push_back(std::move(entry));
  } else {
    entries_[place->second] = std::move(entry);
  }
}

bool AlbumManifest::hasFile(const Entry& entry) const {
  if (entry.status != Status::stored) return false;
  const std::filesystem::path path = pathFromUtf8(pathOf(entry.name));
  std::error_code error;
  const bool isFile = std::filesystem::is_regular_file(path, error);
  return isFile && std::filesystem::file_size(path, error) == entry.size && !error;
}

void AlbumManifest::save() const {
  Json::Value list(Json::arrayValue);
  for (const Entry& entry : entries_) {
    Json::Value object(Json::objectValue);
    object["id"] = entry.id;
    object["name"] = entry.name;
    object["type"] = entry.isVideo ? "video" : "picture";
    object["address"] = entry.address;
    object["size"] = Json::UInt64{entry.size};
    object["status"] = nameOf(entry.status);
    list.append(std::move(object));
  }
  Json::Value whole(Json::objectValue);
  whole["version"] = version;
  whole["entries"] = std::move(list);
  Json::StreamWriterBuilder builder;
  builder["indentation"] = " ";
  builder["emitUTF8"] = true;
  const std::string path = pathOf(fileName);
  if (KBL::FileUtil::writePrivateFile(KBL::Path(path), Json::writeString(builder, whole) + "\n")) return;
  throw Failure(Cause::file, "the manifest '" + path +
                                 "' cannot be written; check the folder's rights and the room on its disk");
}

}  // namespace host
