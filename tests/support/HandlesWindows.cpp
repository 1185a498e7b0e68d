#include "support/HandlesWindows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace {

bool isFileIn(HANDLE handle, const TemporaryDirectory& folder) {
  if (GetFileType(handle) != FILE_TYPE_DISK) return false;
  std::wstring name(32768, L'\0');
  const DWORD size =
      GetFinalPathNameByHandleW(handle, name.data(), static_cast<DWORD>(name.size()), FILE_NAME_NORMALIZED);
  name.resize((std::min)(static_cast<std::size_t>(size), name.size()));
  return std::filesystem::path(name).parent_path().filename() == folder.path().filename();
}

}  // namespace

std::vector<HANDLE> ownHandles() {
  // They are small multiples of four.
  std::vector<HANDLE> found;
  for (std::uintptr_t number = 4; number < 0x4000; number += 4) {
    const auto handle = reinterpret_cast<HANDLE>(number);
    DWORD flags = 0;
    if (GetHandleInformation(handle, &flags) != 0) found.push_back(handle);
  }
  return found;
}

std::vector<HANDLE> handlesIn(const TemporaryDirectory& folder) {
  std::vector<HANDLE> found = ownHandles();
  std::erase_if(found, [&](HANDLE handle) { return !isFileIn(handle, folder); });
  return found;
}

bool isInherited(HANDLE handle) {
  DWORD flags = 0;
  return GetHandleInformation(handle, &flags) != 0 && (flags & HANDLE_FLAG_INHERIT) != 0;
}
