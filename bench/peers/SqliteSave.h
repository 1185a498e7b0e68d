#pragma once

#include <string>

/// Puts a text into a file as the library does with its users, by SQLite alone and with the same care for the
/// disk and for other processes: opened for each save, and synchronised.
[[nodiscard]] bool saveBySqlite(const std::string& path, const std::string& text);
