#pragma once

#include <BsNet/BsRequestParamReply.h>
#include <ExternlMediaTransfer/RecordInterfaces.h>
#include <KblUtils/CastByName.h>

#include <string>
#include <vector>

namespace KBL {

/// What the seven record classes share: no key is ever rejected. `Interface` is the class's own interface.
/// The key store is a virtual base, so each class stores its type number itself.
template <class Interface>
class TypedRecord : public Interface, public BsRequestParamReply {
 public:
  int isValidKeyOfIntValue(const char*) override { return 1; }
  int isValidKeyOfCharValue(const char*) override { return 1; }
};

class BsExternlMediaAuthLoginInfo final : public TypedRecord<IBsExternlMediaLoginInfo> {
 public:
  BsExternlMediaAuthLoginInfo() : BsBaseInfoRW(infoTypeLogin) {}
  void* QueryInterfaceByName(const char* name) override;
};

class BsExternlMediaAuthRefreshTokenInfo final : public TypedRecord<IBsExternlMediaLoginInfo> {
 public:
  BsExternlMediaAuthRefreshTokenInfo() : BsBaseInfoRW(infoTypeRefreshToken) {}
  void* QueryInterfaceByName(const char* name) override;
};

class BsExternlMediaVerifyAccessTokenInfo final : public TypedRecord<IBsExternlMediaVerifyAccessTokenInfo> {
 public:
  BsExternlMediaVerifyAccessTokenInfo() : BsBaseInfoRW(infoTypeVerifyAccessToken) {}
  void* QueryInterfaceByName(const char* name) override;
};

/// Registers the six keys that every user has; the categories, which only some platforms know, are left out
/// on purpose.
class BsExternlMediaAuthUserInfo final : public TypedRecord<IBsExternlMediaAuthUserInfo> {
 public:
  BsExternlMediaAuthUserInfo();
  void* QueryInterfaceByName(const char* name) override;
  [[nodiscard]] const std::vector<std::string>& registeredKeys() const { return registeredCharKeys; }
};

/// Stands where the other records have an interface of their own.
class PlainRecordInterface : public virtual IBsBaseInfoRW {
 protected:
  ~PlainRecordInterface() = default;
};

/// Has no interface of its own. It answers "IBsExternlMediaLoginInfo" all the same, with its IBsInfoReader,
/// which hosts rely on.
class BsExternlMediaAuthUseSupportQueryConsumeInfo final : public TypedRecord<PlainRecordInterface> {
 public:
  BsExternlMediaAuthUseSupportQueryConsumeInfo() : BsBaseInfoRW(infoTypeConsume) {}
  void* QueryInterfaceByName(const char* name) override;
};

/// The widest record: account requests read and fill it.
class BsExternlMediaAuthMixedInfo final : public TypedRecord<IBsExternlMediaLoginInfo> {
 public:
  BsExternlMediaAuthMixedInfo() : BsBaseInfoRW(infoTypeMixed) {}
  void* QueryInterfaceByName(const char* name) override;
};

class BsExternlMediaUploadInfo final : public TypedRecord<IBsExternlMediaUploadInfo> {
 public:
  BsExternlMediaUploadInfo() : BsBaseInfoRW(infoTypeUpload) {}
  void* QueryInterfaceByName(const char* name) override;
};

/// A new record of a type of 400 to 406 with one reference, which is the caller's; null for any other type or
/// when memory is short.
IBsInfoReader* createRecord(int infoType);

/// Tells the foundation the names of all keys of the record tables, so that they are copied out of a host's
/// own records, too, which cannot be listed. Once a process is enough; any thread.
void registerRecordKeys();

}  // namespace KBL
