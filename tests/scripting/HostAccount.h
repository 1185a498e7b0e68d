#pragma once

#include <ExternlMediaTransfer/HostRecords.h>

#include <vector>

/// A host's account record with room for the categories behind it.
struct Account {
  std::vector<char> room = std::vector<char>(sizeof(KBL::hostAccountRecord) + 1024, '#');
  [[nodiscard]] KBL::hostAccountRecord* record() {
    return reinterpret_cast<KBL::hostAccountRecord*>(room.data());
  }
  [[nodiscard]] const char* categories() const {
    return room.data() + offsetof(KBL::hostAccountRecord, videoCategories);
  }
};
