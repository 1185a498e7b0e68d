#include "foundation/neverFreed.h"
#include "foundation/object/Snapshot.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <KblUtils/FileStream.h>

#include <json/json.h>

#include <cstring>
#include <exception>
#include <memory>
#include <optional>

namespace KBL {

namespace {

using UrlMap = std::map<std::string, std::string>;

constexpr std::uint64_t largestConfigBytes = 1U << 20;
constexpr int deepestNesting = 16;

class CloudConfig final : public IBsCloudConfigManager, public IBsUrlConfig {
 public:
  IBsUrlConfig* urlConfig() override { return isSet() ? this : nullptr; }

  void urlForKey(const char* key, char* buffer, int) override {
    if (key == nullptr || buffer == nullptr) return;
    const auto current = urls_.read();
    const std::optional<UrlMap>& urls = *current;
    if (!urls.has_value()) return;
    const auto found = urls->find(key);
    if (found == urls->end() || found->second.size() >= urlBufferSize) return;
    std::memcpy(buffer, found->second.c_str(), found->second.size() + 1);
  }

  [[nodiscard]] bool isSet() const { return urls_.read()->has_value(); }

  void set(std::optional<UrlMap> urls) {
    urls_.change([&](std::optional<UrlMap>& current) { current = std::move(urls); });
  }

 private:
  Snapshot<std::optional<UrlMap>> urls_;
};

/// Detached threads may ask it while the process ends.
CloudConfig& cloudConfig() {
  static CloudConfig& instance = neverFreed<CloudConfig>();
  return instance;
}

/// Returns what is wrong, empty when `contents` was filled.
std::string readFile(const std::string& path, std::string& contents) {
  FileStream file;
  if (!file.open(Path(path), "rb")) return "cannot be opened";
  if (file.size() > largestConfigBytes) return "is larger than 1 MiB";
  contents.resize(static_cast<std::size_t>(file.size()));
  if (file.read(contents.data(), contents.size()) != contents.size()) return "cannot be read";
  return {};
}

Json::CharReaderBuilder strictReader() {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = deepestNesting;
  return builder;
}

std::string parse(const std::string& contents, Json::Value& root) {
  const std::unique_ptr<Json::CharReader> reader(strictReader().newCharReader());
  std::string problems;
  const char* const begin = contents.data();
  if (reader->parse(begin, begin + contents.size(), &root, &problems)) return {};
  return "is not valid JSON: " + problems;
}

/// Texts with a zero byte inside would reach the library cut off.
bool isWholeText(const Json::Value& value) {
  return value.isString() && value.asString().find('\0') == std::string::npos;
}

std::string collect(const Json::Value& root, UrlMap& urls) {
  if (!root.isObject()) return "must hold one JSON object from key to address";
  for (const std::string& key : root.getMemberNames()) {
    const Json::Value& value = root[key];
    if (!isWholeText(value)) return "has an address that is not a text, under the key \"" + key + "\"";
    if (value.asString().size() >= urlBufferSize) {
      return "has an address of more than 1023 bytes, under the key \"" + key + "\"";
    }
    urls[key] = value.asString();
  }
  return {};
}

std::string readUrls(const std::string& path, UrlMap& urls) {
  try {
    std::string contents;
    std::string problem = readFile(path, contents);
    if (!problem.empty()) return problem;
    Json::Value root;
    problem = parse(contents, root);
    return problem.empty() ? collect(root, urls) : problem;
  } catch (const std::exception& failure) {
    // jsoncpp throws for nesting beyond its limit.
    return std::string("is not valid JSON: ") + failure.what();
  }
}

}  // namespace

void setCloudConfig(const std::map<std::string, std::string>& urlByKey) {
  cloudConfig().set(urlByKey);
}

std::string loadCloudConfig(const std::string& path) {
  UrlMap urls;
  const std::string problem = readUrls(path, urls);
  if (!problem.empty()) return "the cloud configuration " + path + " " + problem;
  cloudConfig().set(std::move(urls));
  return {};
}

void clearCloudConfig() {
  cloudConfig().set(std::nullopt);
}

}  // namespace KBL

KBL::IBsCloudConfigManager* getBsCloudConfigManager() {
  KBL::CloudConfig& config = KBL::cloudConfig();
  return config.isSet() ? &config : nullptr;
}
