#include "foundation/system/MovesWindows.h"

#include <windows.h>

namespace KBL::System {
namespace {

/// Readers that share no deletion, our own and those of indexers and scanners, are in the way for a moment.
bool isInTheWay(DWORD error) {
  return error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION ||
         error == ERROR_UNABLE_TO_REMOVE_REPLACED || error == ERROR_UNABLE_TO_MOVE_REPLACEMENT;
}

}  // namespace

bool withPatience(const std::function<bool()>& once) {
  constexpr DWORD pause = 20;
  constexpr int tries = 75;
  for (int tried = 1;; ++tried) {
    if (once()) return true;
    if (!isInTheWay(GetLastError()) || tried == tries) return false;
    Sleep(pause);
  }
}

bool isFolderOrReadOnly(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES &&
         (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0;
}

MoveCalls systemMoves() {
  return {[](const auto& target, const auto& from, const auto& former) {
            return ReplaceFileW(target.c_str(), from.c_str(), former.c_str(), 0, nullptr, nullptr) != 0;
          },
          [](const auto& from, const auto& to) {
            return MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH) != 0;
          }};
}

bool replaceKeepingRights(const std::filesystem::path& target, const std::filesystem::path& from,
                          const std::filesystem::path& former, const MoveCalls& calls) {
  bool isReplaced = withPatience([&] { return calls.replace(target, from, former); });
  // The replacement stopped midway: nothing has the target's name, and the other has its rights already.
  if (!isReplaced && GetLastError() == ERROR_UNABLE_TO_MOVE_REPLACEMENT_2) {
    isReplaced = withPatience([&] { return calls.move(from, target); });
    if (!isReplaced) (void)withPatience([&] { return calls.move(former, target); });
  }
  if (isReplaced) (void)withPatience([&] { return DeleteFileW(former.c_str()) != 0; });
  return isReplaced;
}

}  // namespace KBL::System
