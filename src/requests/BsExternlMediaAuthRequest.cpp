#include "requests/BsExternlMediaAuthRequest.h"

#include "foundation/BsNet/BsBaseInfoRW.h"
#include "foundation/BsNet/BsErrorInfo.h"
#include "foundation/BsNet/NetKeys.h"
#include "foundation/BsNet/createInfoObject.h"
#include "foundation/KblLogger/KblLogger.h"
#include "foundation/object/CastByName.h"
#include "requests/RequestRegistry.h"

#include <utility>

namespace KBL {

namespace {
constexpr RequestConstants noConstants = {requestNone, httpPost, "", "ExternlMediaAuthRequestNone"};

/// A new public-information record with a copy of `info`, or null when memory is short.
RefPtr<IBsPubInfo> copyOfPubInfo(IBsPubInfo* info) {
  const RefPtr<IBsInfoReader> record = adoptRef(createInfoObject(infoObjectPubInfo));
  RefPtr<IBsPubInfo> copy = shareRef(queryInterface<IBsPubInfo>(record.get(), "IBsPubInfo"));
  if (copy) copy->updataFrom(info);
  return copy;
}
}  // namespace

BsExternlMediaAuthRequest::BsExternlMediaAuthRequest() : BsExternlMediaAuthRequest(noConstants) {}

BsExternlMediaAuthRequest::BsExternlMediaAuthRequest(const RequestConstants& constants)
    : urlKey_(constants.urlKey),
      httpMethod_(constants.httpMethod),
      requestType_(constants.requestType),
      replyInfo_(makeRef<BsBaseInfoRW>()),
      errorInfo_(makeRef<BsErrorInfo>()) {
  name = constants.name;
  enterLiveRequest(this);
  KBL_LOG(info, "create:" << name << ", " << static_cast<const void*>(this));
}

BsExternlMediaAuthRequest::~BsExternlMediaAuthRequest() {
  KBL_LOG(info, "release:" << name << ", " << static_cast<const void*>(this));
  removeLiveRequest(this);
  replyInfo_.reset();
  errorInfo_.reset();
  pubInfoCopy_.reset();
}

void* BsExternlMediaAuthRequest::QueryInterfaceByName(const char* requested) {
  return KblBaseRequest::QueryInterfaceByName(requested);
}

_Result BsExternlMediaAuthRequest::setPubParam(IBsPubInfo* info) {
  if (info == nullptr) return resultFailed;
  const RefPtr<IBsPubInfo> withoutSecret = copyOfPubInfo(info);
  if (!withoutSecret) return resultFailed;
  withoutSecret->removeKey(PubCharKey::appSecret);
  KblBaseRequest::setPubParam(withoutSecret.get());

  if (pubInfoCopy_) {
    pubInfoCopy_->updataFrom(info);
  } else {
    pubInfoCopy_ = copyOfPubInfo(info);
  }

  // The account server takes the secret as a header, too, so it stands in this list as well.
  const char* const headerKeys[] = {PubCharKey::appSecret,   PubCharKey::clientType, PubCharKey::clientSn,
                                    PubCharKey::appKey,      PubCharKey::prodId,     PubCharKey::prodVer,
                                    PubCharKey::contentType, PubCharKey::ver,        PubCharKey::lang};
  for (const char* const key : headerKeys) {
    if (const char* const value = info->charKeyConfig(key)) requestHeaders_[key] = value;
  }
  return resultOk;
}

RefPtr<IBsErrorInfo> BsExternlMediaAuthRequest::errorInfo() const {
  const std::lock_guard lock(resultMutex_);
  return errorInfo_;
}

RefPtr<IBsInfoReader> BsExternlMediaAuthRequest::replyInfo() const {
  const std::lock_guard lock(resultMutex_);
  return replyInfo_;
}

void BsExternlMediaAuthRequest::setErrorInfo(RefPtr<IBsErrorInfo> error) {
  if (!error) return;
  const std::lock_guard lock(resultMutex_);
  errorInfo_.swap(error);  // the former one goes when the argument does, outside the lock
}

void BsExternlMediaAuthRequest::setReplyInfo(RefPtr<IBsInfoReader> info) {
  if (!info) return;
  const std::lock_guard lock(resultMutex_);
  replyInfo_.swap(info);
}

void initAuthRequest(const AuthContext& context, const std::string& uuid,
                     BsExternlMediaAuthRequest& request) {
  request.setServerProxy(context.serverProxy.get());
  request.setPubParam(context.pubInfo.get());
  request.setTimeout(context.timeoutSeconds * 1000);
  request.platform_ = context.platform;
  request.ownerTag_ = context.logTag;
  request.userUuid_ = uuid;
}

}  // namespace KBL
