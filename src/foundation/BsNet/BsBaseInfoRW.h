#pragma once

#include "foundation/BsNet/BsInfoReader.h"
#include "foundation/BsNet/IBsBaseInfoRW.h"

namespace KBL {

/// The writable record. Can be used as a plain local object, too; then nobody calls Release on it.
class KBL_BSNET_API BsBaseInfoRW : public BsInfoReader, public virtual IBsBaseInfoRW {
 public:
  BsBaseInfoRW();
  explicit BsBaseInfoRW(int infoType);
  ~BsBaseInfoRW() override;

  void* QueryInterfaceByName(const char* name) override;  ///< "BsBaseInfoRW"
  _Result setIntKeyConfig(const char* key, long long value) override;
  _Result setCharKeyConfig(const char* key, const char* value) override;
  /// Empties the record. Texts that were handed out stay valid.
  virtual _Result reset();
};

}  // namespace KBL
