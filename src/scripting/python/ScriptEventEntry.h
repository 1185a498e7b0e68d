#pragma once

#include "uploaders/proxies/IUploadEventSink.h"

#include <cstdint>
#include <memory>

namespace KBL {

/// What a script knows of its upload object: a number that is never used twice, valid until this ends. A
/// script may come back with it at any time and on any thread; one that stands for nothing is ignored. Any
/// thread.
class ScriptEventHandle {
 public:
  /// Events that come with this number go to `sink`.
  explicit ScriptEventHandle(std::shared_ptr<IUploadEventSink> sink);
  ~ScriptEventHandle();
  ScriptEventHandle(const ScriptEventHandle&) = delete;
  ScriptEventHandle& operator=(const ScriptEventHandle&) = delete;

  [[nodiscard]] std::int64_t value() const { return value_; }

 private:
  std::int64_t value_;
};

/// The function that scripts call: a handle's value, an UploadEventKind and a text that is borrowed for the
/// call. The host's number of an error cannot be told by a script and is 0.
void scriptEventEntry(std::intptr_t userObject, std::uint32_t code, const char* text);

}  // namespace KBL
