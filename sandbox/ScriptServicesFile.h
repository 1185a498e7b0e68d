#pragma once

#include <string>

namespace sandbox {

class Sandbox;

/// The file "script_services.json" that MEDIATRANSFER_SERVICES can name, with a sandbox's addresses.
class ScriptServicesFile {
 public:
  /// Writes it into the folder; an empty one means a new folder among the temporary files, which goes with
  /// this object. Throws std::runtime_error when it can't be written.
  ScriptServicesFile(const Sandbox& sandbox, const std::string& folder);
  ~ScriptServicesFile();
  ScriptServicesFile(const ScriptServicesFile&) = delete;
  ScriptServicesFile& operator=(const ScriptServicesFile&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string ownFolder_;  ///< empty when the folder is somebody else's
  std::string path_;
};

}  // namespace sandbox
