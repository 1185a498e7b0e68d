#pragma once

#include "foundation/BsNet/Result.h"
#include "foundation/object/IDmBaseObj.h"

namespace KBL {

/// A keyed record of text and integer values, typed by a number. Keys are compared by their text. All
/// operations are safe from any thread.
class KBL_INTERFACE IBsInfoReader : public virtual IDmBaseObj {
 public:
  /// The record's type number.
  virtual int infoType() = 0;
  /// The integer under `key`, or `absentIntValue` when there is none (or `key` is null).
  virtual long long intKeyConfig(const char* key) = 0;
  /// The UTF-8 text under `key`, or null. The text belongs to the record and stays valid for the record's
  /// life, also when the value is replaced meanwhile.
  virtual const char* charKeyConfig(const char* key) = 0;
  /// Copies every key of `other` into this record, replacing those present. Null returns resultFailed. The
  /// interface cannot list keys, so of a record of another make the keys of KnownKeys.h are copied.
  virtual _Result updataFrom(IBsInfoReader* other) = 0;

 protected:
  ~IBsInfoReader() = default;
};

}  // namespace KBL
