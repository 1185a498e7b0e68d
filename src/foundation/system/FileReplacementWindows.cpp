#include "foundation/Texts.h"
#include "foundation/system/FileReplacement.h"
#include "foundation/system/MovesWindows.h"
#include "foundation/system/System.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <utility>

namespace KBL::System {

namespace {

/// A path of the narrow encoding that fopen reads.
std::filesystem::path wide(const std::string& path) {
  const int size = static_cast<int>(path.size());
  std::wstring text(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, path.data(), size, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_ACP, 0, path.data(), size, text.data(), static_cast<int>(text.size()));
  return text;
}

bool isUsable(DWORD attributes) {
  constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_REPARSE_POINT |
                           FILE_ATTRIBUTE_READONLY;
  return attributes == INVALID_FILE_ATTRIBUTES || (attributes & others) == 0;
}

bool hasOneName(const std::filesystem::path& path) {
  const HANDLE handle = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return false;
  BY_HANDLE_FILE_INFORMATION status{};
  const bool isKnown = GetFileInformationByHandle(handle, &status) != 0;
  CloseHandle(handle);
  return isKnown && status.nNumberOfLinks == 1;
}

std::wstring nameBeside(const wchar_t* ending) {
  unsigned char random[8]{};
  (void)fillRandom(random, sizeof random);  // a name that is taken does not open
  std::string digits;
  for (const unsigned char byte : random) (void)writeHex(std::back_inserter(digits), byte);
  return L".download-" + std::wstring(digits.begin(), digits.end()) + ending;
}

}  // namespace

struct FileReplacement::File {
  explicit File(std::filesystem::path path) : target(std::move(path)) {}
  ~File() {
    close();
    if (!name.empty()) (void)withPatience([this] { return DeleteFileW(name.c_str()) != 0; });
  }

  [[nodiscard]] bool open() {
    std::filesystem::path beside = target.parent_path() / nameBeside(L".part");
    handle = CreateFileW(beside.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    name = std::move(beside);
    return true;
  }

  void close() {
    if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
    handle = INVALID_HANDLE_VALUE;
  }

  const std::filesystem::path target;
  std::filesystem::path name;  // empty for none
  HANDLE handle = INVALID_HANDLE_VALUE;
};

FileReplacement::FileReplacement(std::unique_ptr<File> file) : file_(std::move(file)) {}

FileReplacement::~FileReplacement() = default;

std::unique_ptr<FileReplacement> FileReplacement::begin(const std::string& target, Name) {
  auto file = std::make_unique<File>(wide(target));
  if (!isUsable(GetFileAttributesW(file->target.c_str())) || !file->open()) return nullptr;
  return std::unique_ptr<FileReplacement>(new FileReplacement(std::move(file)));
}

std::optional<std::uint64_t> FileReplacement::freeBytes() const {
  std::error_code failure;
  // An empty path, which a relative name has for its folder, would end the process.
  const std::filesystem::path folder = file_->name.parent_path();
  const auto room = std::filesystem::space(folder.empty() ? std::filesystem::path(".") : folder, failure);
  if (failure) return std::nullopt;
  return room.available;
}

bool FileReplacement::append(const char* data, std::size_t size) {
  constexpr std::size_t largestWrite = std::size_t{1} << 30;
  for (std::size_t done = 0; done < size;) {
    const auto part = static_cast<DWORD>((std::min)(largestWrite, size - done));
    DWORD written = 0;
    if (!WriteFile(file_->handle, data + done, part, &written, nullptr) || written == 0) return false;
    done += written;
  }
  return true;
}

FileReplacement::Outcome FileReplacement::putInPlace() {
  if (FlushFileBuffers(file_->handle) == 0) return Outcome::lost;
  const DWORD attributes = GetFileAttributesW(file_->target.c_str());
  const bool isThere = attributes != INVALID_FILE_ATTRIBUTES;
  if (!isUsable(attributes) || (isThere && !hasOneName(file_->target))) return Outcome::refused;
  // An open file can't be renamed; behind a refusal it is opened again for who reads it.
  file_->close();
  const std::filesystem::path former = file_->target.parent_path() / nameBeside(L".former");
  const bool isDone = isThere
                          ? replaceKeepingRights(file_->target, file_->name, former)
                          : withPatience([this] { return systemMoves().move(file_->name, file_->target); });
  if (isDone) {
    file_->name.clear();
    return Outcome::done;
  }
  constexpr DWORD sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const bool isOpen = withPatience([this] {
    file_->handle = CreateFileW(file_->name.c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    return file_->handle != INVALID_HANDLE_VALUE;
  });
  return isOpen ? Outcome::refused : Outcome::lost;
}

std::size_t FileReplacement::read(std::uint64_t place, char* buffer, std::size_t size) const {
  OVERLAPPED from{};
  from.Offset = static_cast<DWORD>(place & 0xFFFFFFFF);
  from.OffsetHigh = static_cast<DWORD>(place >> 32);
  DWORD got = 0;
  const auto wanted = static_cast<DWORD>((std::min)(size, std::size_t{1} << 30));
  return ReadFile(file_->handle, buffer, wanted, &got, &from) != 0 ? got : 0;
}

UniqueFile openInPlace(const std::string& target) {
  UniqueFile file;
  const std::filesystem::path path = wide(target);
  const bool isForGood = isFolderOrReadOnly(path);
  // "N" keeps the handle from child processes.
  (void)withPatience([&] {
    file.reset(_wfopen(path.c_str(), L"wb+N"));
    return file != nullptr || isForGood;
  });
  return file;
}

std::optional<std::uint64_t> sizeOfTarget(const std::string& target) {
  std::error_code unknown;
  const std::uintmax_t size = std::filesystem::file_size(wide(target), unknown);
  if (unknown) return std::nullopt;
  return size;
}

}  // namespace KBL::System
