#pragma once

#include <BsNet/IBsInfoReader.h>

#include <string>

/// The text under a key, or "(unset)".
[[nodiscard]] inline std::string textIn(KBL::IBsInfoReader& info, const char* key) {
  const char* const text = info.charKeyConfig(key);
  return text == nullptr ? "(unset)" : text;
}
