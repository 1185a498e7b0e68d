#include "Secrets.h"

#include "Failure.h"
#include "Utf8Path.h"

#include <fstream>

namespace host {

std::string resolveSecret(const std::string& value, const std::string& option) {
  if (value.empty() || value.front() != '@') return value;
  const std::string path = value.substr(1);
  std::ifstream file(pathFromUtf8(path));
  std::string line;
  if (!file || !std::getline(file, line)) {
    throw Failure(Exit::refused, "the file '" + path + "' of " + option + " cannot be read; check its name");
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

}  // namespace host
