#include "support/ChildProcess.h"

bool ChildProcess::readLine(std::string& line) {
  std::size_t end = pending_.find('\n');
  while (end == std::string::npos) {
    const std::string more = readSome();
    if (more.empty()) return false;
    pending_ += more;
    end = pending_.find('\n');
  }
  line = pending_.substr(0, end);
  pending_.erase(0, end + 1);
  return true;
}
