#pragma once

#include <BsNet/IBsInfoReader.h>

namespace KBL {

/// Code and message of a failed operation; code 0 means success. Safe from any thread; the message stays
/// valid for the life of the object.
class KBL_INTERFACE IBsErrorInfo : public virtual IBsInfoReader {
 public:
  virtual int errorCode() = 0;
  /// The transport's raw code (a CURLcode with the reference network client), kept apart from the mapped
  /// code.
  virtual int originCode() = 0;
  /// True when the code is not 0.
  virtual bool failed() = 0;
  virtual const char* errorMessage() = 0;
  /// Stores both; a null message counts as empty.
  virtual void setError(int code, const char* message) = 0;

 protected:
  ~IBsErrorInfo() = default;
};

}  // namespace KBL
