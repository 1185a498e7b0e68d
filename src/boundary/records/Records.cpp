#include "boundary/records/Records.h"

#include <ExternlMediaTransfer/ExternlMediaKeys.h>

#include <new>

namespace KBL {

namespace {
template <class Interface, class Record>
void* castRecord(Record* record, const char* name, const char* interfaceName) {
  return castByName(record, name, Named<Interface>{interfaceName}, Named<BsBaseInfoRW>{"BsBaseInfoRW"});
}

template <class Record>
IBsInfoReader* makeRecord() {
  auto* const record = new (std::nothrow) Record;
  if (record != nullptr) record->AddRef();
  return record;
}
}  // namespace

void* BsExternlMediaAuthLoginInfo::QueryInterfaceByName(const char* name) {
  return castRecord<IBsExternlMediaLoginInfo>(this, name, "IBsExternlMediaLoginInfo");
}

void* BsExternlMediaAuthRefreshTokenInfo::QueryInterfaceByName(const char* name) {
  return castRecord<IBsExternlMediaLoginInfo>(this, name, "IBsExternlMediaLoginInfo");
}

void* BsExternlMediaVerifyAccessTokenInfo::QueryInterfaceByName(const char* name) {
  return castRecord<IBsExternlMediaVerifyAccessTokenInfo>(this, name, "IBsExternlMediaVerifyAccessTokenInfo");
}

BsExternlMediaAuthUserInfo::BsExternlMediaAuthUserInfo() : BsBaseInfoRW(infoTypeUser) {
  registeredCharKeys = {
      ExternlMediaAuthUserCharKey::userSessionId, ExternlMediaAuthUserCharKey::userFirstName,
      ExternlMediaAuthUserCharKey::userLastName,  ExternlMediaAuthUserCharKey::userNickName,
      ExternlMediaAuthUserCharKey::userAccount,   ExternlMediaAuthUserCharKey::thirdAccessToken};
}

void* BsExternlMediaAuthUserInfo::QueryInterfaceByName(const char* name) {
  return castRecord<IBsExternlMediaAuthUserInfo>(this, name, "IBsExternlMediaAuthUserInfo");
}

void* BsExternlMediaAuthUseSupportQueryConsumeInfo::QueryInterfaceByName(const char* name) {
  return castRecord<IBsInfoReader>(this, name, "IBsExternlMediaLoginInfo");
}

void* BsExternlMediaAuthMixedInfo::QueryInterfaceByName(const char* name) {
  return castRecord<IBsExternlMediaLoginInfo>(this, name, "IBsExternlMediaLoginInfo");
}

void* BsExternlMediaUploadInfo::QueryInterfaceByName(const char* name) {
  return castRecord<IBsExternlMediaUploadInfo>(this, name, "IBsExternlMediaUploadInfo");
}

IBsInfoReader* createRecord(int infoType) {
  switch (infoType) {
    case infoTypeLogin:
      return makeRecord<BsExternlMediaAuthLoginInfo>();
    case infoTypeRefreshToken:
      return makeRecord<BsExternlMediaAuthRefreshTokenInfo>();
    case infoTypeVerifyAccessToken:
      return makeRecord<BsExternlMediaVerifyAccessTokenInfo>();
    case infoTypeUser:
      return makeRecord<BsExternlMediaAuthUserInfo>();
    case infoTypeConsume:
      return makeRecord<BsExternlMediaAuthUseSupportQueryConsumeInfo>();
    case infoTypeMixed:
      return makeRecord<BsExternlMediaAuthMixedInfo>();
    case infoTypeUpload:
      return makeRecord<BsExternlMediaUploadInfo>();
    default:
      return nullptr;
  }
}

}  // namespace KBL
