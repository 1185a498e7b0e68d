#include "sandbox/state/StateFile.h"

#include "sandbox/base/JsonText.h"
#include "sandbox/system/DiskFile.h"

#include <filesystem>
#include <optional>
#include <stdexcept>

namespace sandbox {

StateFile::StateFile(const std::string& folder, Merge merge, Collect collect)
    : folder_(folder),
      path_(folder + "/sandbox.json"),
      merge_(std::move(merge)),
      collect_(std::move(collect)) {
  if (folder_.empty()) return;
  std::error_code error;
  const std::filesystem::path place = nativePath(folder_);
  if (std::filesystem::create_directories(place, error)) {
    std::filesystem::permissions(place, std::filesystem::perms::owner_all, error);
  }
  if (!std::filesystem::is_directory(place, error))
    throw std::runtime_error("can't use the folder " + folder_);
}

void StateFile::load() {
  if (folder_.empty()) return;
  const std::lock_guard lock(mutex_);
  loadUnlocked();
}

void StateFile::save() {
  if (folder_.empty()) return;
  const std::lock_guard lock(mutex_);
  const FileLock fileLock(folder_ + "/sandbox.lock");
  loadUnlocked();
  replace(readableJson(collect_()));
}

void StateFile::loadUnlocked() const {
  const std::optional<std::string> text = contentsOf(path_);
  if (text) merge_(parseJson(*text).value_or(Json::Value(Json::objectValue)));
}

void StateFile::replace(const std::string& text) const {
  const std::string draft = path_ + ".new";
  writeDurably(draft, text);
  std::error_code error;
  std::filesystem::rename(nativePath(draft), nativePath(path_), error);
  if (error) throw std::runtime_error("can't replace " + path_);
}

}  // namespace sandbox
