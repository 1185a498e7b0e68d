#include "sandbox/system/DiskFile.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace sandbox {

std::optional<std::string> contentsOf(const std::string& path) {
  const std::ifstream file(nativePath(path), std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream file(nativePath(path), std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("can't write " + path);
}

}  // namespace sandbox
