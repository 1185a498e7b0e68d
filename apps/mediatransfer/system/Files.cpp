#include "system/Files.h"

#include "system/Utf8Path.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace host {
namespace {

std::ifstream opened(const std::string& path) {
  return std::ifstream(pathFromUtf8(path), std::ios::binary);
}

}  // namespace

bool opensForReading(const std::string& path) {
  return static_cast<bool>(opened(path));
}

std::string contentsOf(const std::string& path) {
  const std::ifstream file = opened(path);
  std::ostringstream text;
  if (file) text << file.rdbuf();
  return text.str();
}

std::optional<std::string> firstLineOf(const std::string& path) {
  std::ifstream file = opened(path);
  std::string line;
  if (!std::getline(file, line)) return std::nullopt;
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

#if defined(_WIN32)

// A list of rights has no mode.
bool isOpenToOthers(const std::string&) {
  return false;
}

#else

bool isOpenToOthers(const std::string& path) {
  using std::filesystem::perms;
  std::error_code error;
  const perms mode = std::filesystem::status(pathFromUtf8(path), error).permissions();
  return !error && (mode & (perms::group_all | perms::others_all)) != perms::none;
}

#endif

bool writeFile(const std::string& path, const std::string& contents) {
  std::ofstream file(pathFromUtf8(path), std::ios::binary | std::ios::trunc);
  file << contents;
  file.close();
  return static_cast<bool>(file);
}

}  // namespace host
