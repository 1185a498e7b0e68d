#pragma once

#include <KblUtils/IDmBaseObj.h>
#include <KblUtils/Result.h>

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
