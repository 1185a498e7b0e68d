#pragma once

#include <ExternlMediaTransfer/HostRecords.h>
#include <KblUtils/StringUtil.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace KBL {

/// Text of a host's field, which ends with the field where the host left no terminator.
template <std::size_t size>
[[nodiscard]] std::string fieldText(const char (&field)[size]) {
  const void* const end = std::memchr(field, '\0', size);
  return {field, end == nullptr ? size : static_cast<std::size_t>(static_cast<const char*>(end) - field)};
}

/// Copies a text to a field of the host's, cut at a character's end where the field is shorter.
template <std::size_t size>
void copyToField(char (&field)[size], const std::string& text) {
  kbl_strcpy(field, StringUtil::cutUtf8(text, size - 1).c_str());
}

/// Copies the categories, the one text without a limit of its own: it runs on behind the record to the end of
/// the host's buffer.
inline void copyToRecordsEnd(hostAccountRecord& record, const std::string& categories) {
  kbl_strcpy(reinterpret_cast<char*>(&record) + offsetof(hostAccountRecord, videoCategories),
             categories.c_str());
}

}  // namespace KBL
