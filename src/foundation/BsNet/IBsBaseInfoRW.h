#pragma once

#include "foundation/BsNet/IBsInfoReader.h"

namespace KBL {

/// A record that can be written. Texts are copied; a null key or text returns resultFailed and changes
/// nothing.
class KBL_INTERFACE IBsBaseInfoRW : public virtual IBsInfoReader {
 public:
  virtual _Result setIntKeyConfig(const char* key, long long value) = 0;
  virtual _Result setCharKeyConfig(const char* key, const char* value) = 0;

 protected:
  ~IBsBaseInfoRW() = default;
};

}  // namespace KBL
