#pragma once

#include <BsNet/IBsInfoReader.h>
#include <KblUtils/RefCnt.h>

#include <memory>
#include <string>
#include <vector>

namespace KBL {

class InfoStore;
struct InfoEntries;

/// The key store of every record. Thread-safe inside: the store has its own lock, which is never held while
/// another record's lock is taken or host code runs. A text that `charKeyConfig` handed out stays valid for
/// the life of the record; a replaced text is kept only if it was handed out, and equal texts once.
class KBL_BSNET_API BsInfoReader : public RefCnt<BsInfoReader>, public virtual IBsInfoReader {
 public:
  explicit BsInfoReader(int infoType = 0);
  ~BsInfoReader() override;

  int infoType() override;
  long long intKeyConfig(const char* key) override;
  const char* charKeyConfig(const char* key) override;
  _Result updataFrom(IBsInfoReader* other) override;

  /// 1 when the record takes an integer (a text) under `key`, else 0. The base takes any key.
  virtual int isValidKeyOfIntValue(const char* key);
  virtual int isValidKeyOfCharValue(const char* key);
  /// `charKeyConfig` without the test of the key.
  virtual const char* charKeyConfigNoCheckKey(const char* key);

  /// Replaces the whole contents by a copy of `other`'s. Null returns resultFailed. Like `updataFrom` it
  /// copies every key of a record that derives from BsInfoReader; of a foreign record, whose keys cannot be
  /// listed, the keys of KnownKeys.h and the registered ones of this record.
  _Result CopyInfo(IBsInfoReader* other);

 protected:
  _Result storeInt(const char* key, long long value);
  _Result storeText(const char* key, const char* value);
  /// Both at once, so that no reader of one thread mixes the writes of two others.
  _Result storeIntAndText(const char* intKey, long long value, const char* textKey, const char* text);
  void removeEntry(const char* key);
  void clearEntries();

  /// Character keys that a record class registers in its constructor; only appended to, before the record is
  /// shared.
  std::vector<std::string> registeredCharKeys;

 private:
  InfoEntries acceptableEntriesOf(IBsInfoReader& other);

  std::unique_ptr<InfoStore> store_;
  int infoType_;
};

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
