#include "foundation/BsNet/CurlTrust.h"

#include "foundation/BsNet/system/TrustSystem.h"

#include <curl/curl.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace KBL {
namespace {

std::string contentsOf(const std::string& utf8Path) {
  std::ifstream file(std::filesystem::path(std::u8string(utf8Path.begin(), utf8Path.end())),
                     std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string defaultAuthorities() {
  const curl_version_info_data* const version = curl_version_info(CURLVERSION_NOW);
  return version->cainfo != nullptr ? contentsOf(version->cainfo) : System::keptAuthorities();
}

}  // namespace

std::shared_ptr<const std::string> trustWith(const std::string& extraCaFile) {
  if (extraCaFile.empty()) return nullptr;
  const std::string extra = contentsOf(extraCaFile);
  if (extra.empty()) return nullptr;
  return std::make_shared<const std::string>(defaultAuthorities() + "\n" + extra);
}

}  // namespace KBL
