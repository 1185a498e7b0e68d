#pragma once

#include <filesystem>
#include <functional>

/// How files get other names on Windows, where whoever reads one may be in the way of that.
namespace KBL::System {

/// Calls `once` until it is true, for a second and a half while the system says that somebody has the file
/// open or that it may not be had, which it says of one that is in use as well. `once` leaves the system's
/// error as it was told.
[[nodiscard]] bool withPatience(const std::function<bool()>& once);

/// A folder, or a file that may not be written: nobody is in the way.
[[nodiscard]] bool isFolderOrReadOnly(const std::filesystem::path& path);

/// The system's calls, for tests to have others.
struct MoveCalls {
  /// Puts `from` in the place of `target`, whose rights it gets, and leaves that under the name `former`.
  std::function<bool(const std::filesystem::path& target, const std::filesystem::path& from,
                     const std::filesystem::path& former)>
      replace;
  /// Onto a name that nothing has.
  std::function<bool(const std::filesystem::path& from, const std::filesystem::path& to)> move;
};
[[nodiscard]] MoveCalls systemMoves();

/// Replaces an existing file. It is as it was when that fails. `former` is a name beside it that nothing has,
/// and has again afterwards.
[[nodiscard]] bool replaceKeepingRights(const std::filesystem::path& target,
                                        const std::filesystem::path& from,
                                        const std::filesystem::path& former,
                                        const MoveCalls& calls = systemMoves());

}  // namespace KBL::System
