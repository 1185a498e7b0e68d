#pragma once

#include "support/TemporaryDirectory.h"

#include <windows.h>

#include <vector>

/// This process's handles of files in that folder, which no other folder has the name of.
[[nodiscard]] std::vector<HANDLE> handlesIn(const TemporaryDirectory& folder);

/// All of this process's handles.
[[nodiscard]] std::vector<HANDLE> ownHandles();

/// Whether programs that this process starts have the handle, too.
[[nodiscard]] bool isInherited(HANDLE handle);
