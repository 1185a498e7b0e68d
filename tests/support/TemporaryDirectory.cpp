#include "support/TemporaryDirectory.h"

#include <KblUtils/StringUtil.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

fs::path nativePath(const std::string& utf8) {
  return fs::path(std::u8string(utf8.begin(), utf8.end()));
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
  char unique[64] = {};
  KblGenerateUuid(unique);
  path_ = fs::temp_directory_path() / (std::string("kbl-test-") + unique);
  if (!fs::create_directory(path_)) throw std::runtime_error("cannot make " + path_.string());
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string TemporaryDirectory::file(const std::string& name) const {
  const std::u8string text = (path_ / nativePath(name)).u8string();
  return std::string(text.begin(), text.end());
}

std::string TemporaryDirectory::write(const std::string& name, const std::string& contents) const {
  std::string path = file(name);
  std::ofstream stream(nativePath(path), std::ios::binary | std::ios::trunc);
  stream << contents;
  stream.flush();
  if (!stream) throw std::runtime_error("cannot write " + path);
  return path;
}

std::string TemporaryDirectory::read(const std::string& name) const {
  std::ifstream stream(nativePath(file(name)), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::size_t TemporaryDirectory::entries() const {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(path_), fs::directory_iterator()));
}
