#pragma once

#include <BsNet/BsInfoReader.h>
#include <BsNet/IBsErrorInfo.h>

#include <string>

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

/// Code and message of one moment. Asked for one after the other they may be of two, when another thread sets
/// the error meanwhile.
struct ErrorState {
  int code = 0;
  std::string message;
};
/// Both at once from an error of this library; one after the other from an object of the host's own make.
[[nodiscard]] KBL_BSNET_API ErrorState errorStateOf(IBsErrorInfo& error);

}  // namespace KBL
