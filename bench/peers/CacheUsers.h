#pragma once

#include "authorize/CacheFile.h"

#include <cstdint>
#include <string>

/// The end of a user's token, in the year 2100.
inline constexpr std::int64_t farEnd = 4102444800;

/// Of the user with this number.
[[nodiscard]] std::string uuidOf(int user);
/// The file of YouTube's users in a cache folder.
[[nodiscard]] std::string usersFile(const std::string& cache);
/// Lets the process keep its key in the folder too, and puts so many users there unless it has some, all with
/// this refresh token. False when they could not be stored.
[[nodiscard]] bool prepareUsers(const std::string& cache, int count, const std::string& refreshToken);
