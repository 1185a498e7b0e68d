#include "sandbox/ScriptServicesFile.h"

#include "sandbox/Sandbox.h"
#include "sandbox/base/Text.h"
#include "sandbox/system/DiskFile.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace sandbox {

namespace {

std::string newFolder() {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("mediatransfer-sandbox-" + randomText(12));
  std::error_code error;
  if (!std::filesystem::create_directory(folder, error))
    throw std::runtime_error("can't make " + utf8Of(folder));
  std::filesystem::permissions(folder, std::filesystem::perms::owner_all, error);
  return utf8Of(folder);
}

}  // namespace

ScriptServicesFile::ScriptServicesFile(const Sandbox& sandbox, const std::string& folder)
    : ownFolder_(folder.empty() ? newFolder() : std::string()),
      path_((folder.empty() ? ownFolder_ : folder) + "/script_services.json") {
  writeFile(path_, sandbox.scriptServicesJson());
}

ScriptServicesFile::~ScriptServicesFile() {
  std::error_code ignored;
  if (!ownFolder_.empty()) std::filesystem::remove_all(nativePath(ownFolder_), ignored);
}

}  // namespace sandbox
