#pragma once

#include <KblUtils/Export.h>

#include <map>
#include <string>

namespace KBL {

/// The URL configuration: addresses by key.
class KBL_INTERFACE IBsUrlConfig {
 public:
  /// Writes the address of `key` and a terminator to `buffer`, which holds 1024 bytes zero-filled by the
  /// caller. An absent key, a null argument or an address that does not fit writes nothing. `reserved` is 0.
  virtual void urlForKey(const char* key, char* buffer, int reserved) = 0;

 protected:
  ~IBsUrlConfig() = default;
};

/// The configuration manager of the process. Any thread.
class KBL_INTERFACE IBsCloudConfigManager {
 public:
  /// The URL configuration, or null when none is set. It stays valid for the life of the process.
  virtual IBsUrlConfig* urlConfig() = 0;

 protected:
  ~IBsCloudConfigManager() = default;
};

/// Size of the buffer of `urlForKey`.
inline constexpr int urlBufferSize = 1024;

/// Sets the addresses of the process; replaces all former ones. Any thread.
KBL_CLOUDCONFIG_API void setCloudConfig(const std::map<std::string, std::string>& urlByKey);
/// The same from a file (UTF-8 path) that holds a JSON object from key to address. Returns an empty text, or
/// what is wrong with the file; then nothing is changed.
[[nodiscard]] KBL_CLOUDCONFIG_API std::string loadCloudConfig(const std::string& path);
/// Takes the manager (and with it the URL configuration) away.
KBL_CLOUDCONFIG_API void clearCloudConfig();

}  // namespace KBL

/// The configuration manager, or null when nothing is set. Any thread.
extern "C" KBL_CLOUDCONFIG_API KBL::IBsCloudConfigManager* getBsCloudConfigManager();
