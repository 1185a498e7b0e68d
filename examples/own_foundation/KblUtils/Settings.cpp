// The key and value table of a cache file, as lines of text: table, key and value in hexadecimal digits. Each
// save writes the file anew and renames it, so that a save that breaks off leaves the former one; a lock file
// beside it keeps two processes from losing each other's saves.
#include <KblUtils/FileUtil.h>
#include <KblUtils/KblSqliteUnit.h>
#include <KblUtils/StringUtil.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace KBL {

namespace {

constexpr const char* firstLine = "own settings 1";

using Settings = std::map<std::pair<std::string, std::string>, std::string>;

std::string hexOf(const std::string& text) {
  std::string hex = "x";
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    hex += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
  }
  return hex;
}

std::string textOf(const std::string& hex) {
  std::string text;
  for (std::size_t at = 1; at + 1 < hex.size(); at += 2) {
    text += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
  }
  return text;
}

/// A descriptor that is closed with it, and its lock with that.
class LockFile {
 public:
  LockFile(const std::string& path, std::chrono::steady_clock::time_point deadline)
      : file_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    while (file_ >= 0 && !isHeld_) {
      isHeld_ = flock(file_, LOCK_EX | LOCK_NB) == 0;
      if (isHeld_ || std::chrono::steady_clock::now() >= deadline) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  ~LockFile() {
    if (file_ >= 0) ::close(file_);
  }
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;

  [[nodiscard]] bool isHeld() const { return isHeld_; }

 private:
  const int file_;
  bool isHeld_ = false;
};

/// Brings the text to the disk in a file for its owner only.
bool writeFile(const std::string& path, const std::string& text) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file < 0) return false;
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = ::write(file, text.data() + done, text.size() - done);
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  const bool isWhole = done == text.size() && fsync(file) == 0;
  return ::close(file) == 0 && isWhole;
}

}  // namespace

class KblSqliteUnit::Database {
 public:
  Database(std::string path, std::chrono::steady_clock::time_point deadline)
      : path_(std::move(path)), deadline_(deadline) {}

  /// False for a file that holds something else. A missing or an empty one holds nothing.
  bool read(Settings& settings) const {
    std::ifstream file(path_, std::ios::binary);
    std::string line;
    if (!file || !std::getline(file, line)) return true;
    if (line != firstLine) return false;
    while (std::getline(file, line)) {
      std::istringstream words(line);
      std::string table;
      std::string key;
      std::string value;
      if (!(words >> table >> key >> value)) return false;
      settings[{textOf(table), textOf(key)}] = textOf(value);
    }
    return true;
  }

  bool store(const std::string& table, const std::string& key, const std::string& value) const {
    const LockFile lock(path_ + ".lock", deadline_);
    if (!lock.isHeld()) return false;
    Settings settings;
    if (!read(settings)) settings.clear();
    settings[{table, key}] = value;
    std::string text = std::string(firstLine) + '\n';
    for (const auto& [name, content] : settings) {
      text += hexOf(name.first) + ' ' + hexOf(name.second) + ' ' + hexOf(content) + '\n';
    }
    char unique[64] = {};
    KblGenerateUuid(unique);
    const std::string beside = path_ + '.' + unique;
    if (writeFile(beside, text) && std::rename(beside.c_str(), path_.c_str()) == 0) return true;
    FileUtil::remove(Path(beside));
    return false;
  }

 private:
  const std::string path_;
  const std::chrono::steady_clock::time_point deadline_;
};

KblSqliteUnit::KblSqliteUnit() = default;
KblSqliteUnit::~KblSqliteUnit() = default;

_Result KblSqliteUnit::ended(int code) {
  lastCode_ = code;
  return code == 0 ? resultOk : resultFailed;
}

_Result KblSqliteUnit::open(const char* path, std::chrono::steady_clock::time_point deadline) try {
  database_.reset();
  liesInContents_ = false;
  if (path == nullptr || *path == '\0') return ended(1);
  database_ = std::make_unique<Database>(PathUtil::absolute(Path(path)).string(), deadline);
  return ended(0);
} catch (const std::exception&) {
  return ended(1);
}

_Result KblSqliteUnit::close() {
  database_.reset();
  return resultOk;
}

int KblSqliteUnit::isOpened() {
  return database_ ? 1 : 0;
}

_Result KblSqliteUnit::createSettingTable(const char* table) {
  return ended(database_ && table != nullptr ? 0 : 1);  // a table is there with its first value
}

_Result KblSqliteUnit::setSettingValue(const char* table, const char* key, const char* value) try {
  if (!database_ || table == nullptr || key == nullptr || value == nullptr) return ended(1);
  liesInContents_ = false;
  return ended(database_->store(table, key, value) ? 0 : 1);
} catch (const std::exception&) {
  return ended(1);
}

_Result KblSqliteUnit::getSettingValue(const char* table, const char* key, char** value) try {
  if (value == nullptr) return ended(1);
  *value = nullptr;
  if (!database_ || table == nullptr || key == nullptr) return ended(1);
  Settings settings;
  liesInContents_ = !database_->read(settings);
  if (liesInContents_) return ended(1);
  const auto found = settings.find({table, key});
  if (found == settings.end()) return ended(0);
  *value = new char[found->second.size() + 1];
  std::memcpy(*value, found->second.c_str(), found->second.size() + 1);
  return ended(0);
} catch (const std::exception&) {
  liesInContents_ = true;
  return ended(1);
}

void KblSqliteUnit::freeSettingValue(char* value) {
  delete[] value;
}

bool KblSqliteUnit::failedByContents() const {
  return liesInContents_;
}

const char* KblSqliteUnit::failure() const {
  if (lastCode_ == 0) return "";
  return liesInContents_ ? "the file holds no settings" : "the file could not be read or written";
}

}  // namespace KBL
