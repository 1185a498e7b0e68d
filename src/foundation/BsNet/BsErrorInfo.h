#pragma once

#include "foundation/BsNet/BsInfoReader.h"
#include "foundation/BsNet/IBsErrorInfo.h"

namespace KBL {

/// The error object. Can be used as a plain local object, too. Counted like every record.
class KBL_BSNET_API BsErrorInfo : public BsInfoReader, public virtual IBsErrorInfo {
 public:
  BsErrorInfo();
  ~BsErrorInfo() override;

  int errorCode() override;
  int originCode() override;
  bool failed() override;
  const char* errorMessage() override;
  void setError(int code, const char* message) override;

  _Result setOriginCode(const int& code);
  /// Code 0, empty message, origin code 0.
  _Result reset();

  void* QueryInterfaceByName(const char* name) override;  ///< "IBsErrorInfo"
};

}  // namespace KBL
