#pragma once

#include "authorize/switchboard/AuthorizeTable.h"
#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "authorize/switchboard/IExternlMediaUploadFile.h"
#include "foundation/object/CastByName.h"
#include "foundation/object/RefCnt.h"
#include "foundation/object/RefPtr.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// A manager that remembers what it was asked and answers what a test says.
class FakeManager final : public KBL::IBsExternlMediaAuthorize,
                          public KBL::IExternlMediaUploadFile,
                          public KBL::ISwitchboardManager,
                          public KBL::RefCnt<KBL::CountedTag> {
 public:
  struct Upload {
    KBL::RefPtr<KBL::IBsExternlMediaUploadInfo> info;
    KBL::IBsRequstCallback* callback;
    int consume;
  };

  std::function<KBL::_Result(const std::string& uuid, KBL::IBsExternlMediaAuthUserInfo* out)> onUserInfo =
      [](const std::string&, KBL::IBsExternlMediaAuthUserInfo*) { return KBL::resultFailed; };
  std::function<std::string()> onAccessToken = [] { return std::string("token-1"); };
  bool canUpload = true;
  KBL::_Result logoutResult = KBL::resultOk;
  std::vector<std::string> logouts;
  std::vector<std::string> userInfos;
  std::vector<Upload> uploads;

  void* QueryInterfaceByName(const char* name) override {
    if (!canUpload && std::string(name) == "IExternlMediaUploadFile") return nullptr;
    return KBL::castByName(this, name, KBL::Named<KBL::IBsExternlMediaAuthorize>{"IBsExternlMediaAuthorize"},
                           KBL::Named<KBL::IExternlMediaUploadFile>{"IExternlMediaUploadFile"});
  }

  KBL::_Result init(const char*, int) override { return KBL::resultOk; }
  KBL::_Result setPubParam(KBL::IBsPubInfo*) override { return KBL::resultOk; }
  KBL::_Result setServerProxy(KBL::IBsServerProxyInfo*) override { return KBL::resultOk; }
  KBL::_Result toExternlMediaAuth(KBL::IBsInfoReader*) override { return KBL::resultOk; }
  KBL::_Result toVerifyAccessToken(const char*) override { return KBL::resultOk; }
  KBL::_Result logout(const char* uuid) override {
    logouts.emplace_back(uuid);
    return logoutResult;
  }
  KBL::_Result userInfo(const char* uuid, KBL::IBsExternlMediaAuthUserInfo* out) override {
    userInfos.emplace_back(uuid);
    return onUserInfo(uuid, out);
  }
  KBL::_Result toConsume(KBL::IBsInfoReader*) override { return KBL::resultOk; }
  KBL::_Result cancelLogin() override { return KBL::resultOk; }
  KBL::_Result addAuthCallback(KBL::IExternlMediaAuthCallback*) override { return KBL::resultOk; }
  KBL::_Result removeAuthCallback(KBL::IExternlMediaAuthCallback*) override { return KBL::resultOk; }
  int platform() override { return KBL::ema_none; }
  KBL::_Result getAccessToken(const char*, char*) override { return KBL::resultOk; }

  void asyncUploadMediaFile(KBL::IBsExternlMediaUploadInfo* info, KBL::IBsRequstCallback* callback,
                            int consume) override {
    uploads.push_back({KBL::shareRef(info), callback, consume});
  }

  bool addReferenceUnlessZero() override { return RefCnt::addReferenceUnlessZero(); }
  KBL::IBsExternlMediaAuthorize* authorize() override { return this; }
  std::string accessToken(const std::string&) override { return onAccessToken(); }
};

/// A fake manager that stands in the table of managers and in the switchboard for the life of this object.
class InstalledManager {
 public:
  explicit InstalledManager(int platform) : platform_(platform), manager_(KBL::makeRef<FakeManager>()) {
    const std::lock_guard lock(KBL::authorizeTableMutex);
    tag_ = "fake." + std::to_string(++KBL::authorizeInstanceCounter);
    KBL::authorizeTable[platform_] = manager_.get();
    KBL::ExternlMediaAuthCallbackProxy::instance().registerManager(tag_, alive_, manager_.get());
  }
  ~InstalledManager() {
    die();
    const std::lock_guard lock(KBL::authorizeTableMutex);
    if (KBL::authorizeTable[platform_] == manager_.get()) KBL::authorizeTable[platform_] = nullptr;
  }
  InstalledManager(const InstalledManager&) = delete;
  InstalledManager& operator=(const InstalledManager&) = delete;

  /// From now on no worker finds the manager.
  void die() {
    alive_.reset();
    KBL::ExternlMediaAuthCallbackProxy::instance().decrementLocked(tag_, manager_.get(), [] { return 0; });
  }

  FakeManager* operator->() const { return manager_.get(); }
  [[nodiscard]] const std::string& tag() const { return tag_; }

 private:
  const int platform_;
  std::string tag_;
  std::shared_ptr<char> alive_ = std::make_shared<char>('0');
  KBL::RefPtr<FakeManager> manager_;
};
