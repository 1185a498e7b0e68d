#pragma once

#include <KblUtils/KblSqliteUnit.h>

#include <optional>
#include <string>

inline constexpr const char* table = "AppSetting";
inline constexpr const char* key = "Authorize";

inline KBL::_Result store(const std::string& path, const std::string& value, const char* underKey = key) {
  KBL::KblSqliteUnit unit;
  const KBL::_Result opened = unit.open(path.c_str());
  return opened != KBL::resultOk ? opened : unit.setSettingValue(table, underKey, value.c_str());
}

/// What a unit of its own reads; nothing when there is no value or reading fails.
inline std::optional<std::string> load(const std::string& path, const char* underKey = key) {
  KBL::KblSqliteUnit unit;
  char* value = nullptr;
  if (unit.open(path.c_str()) != KBL::resultOk) return std::nullopt;
  if (unit.getSettingValue(table, underKey, &value) != KBL::resultOk || value == nullptr) return std::nullopt;
  std::string text(value);
  KBL::KblSqliteUnit::freeSettingValue(value);
  return text;
}
