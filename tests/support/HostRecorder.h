#pragma once

#include "support/Recorder.h"
#include "support/WaitUntil.h"
#include <BsNet/IBsBaseRequest.h>
#include <BsNet/IBsErrorInfo.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/IExternlMediaAuthCallback.h>

#include <cstddef>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// One call of a host callback.
struct HostEvent {
  enum Kind { requestFinished, loginUrl, callbackUrl, tokenChanged, response };
  Kind kind = response;
  std::string uuid;
  std::string text;    ///< address, old token, or error message
  std::string second;  ///< new token
  int infoType = 0;
  int code = 0;
  std::string requestName;
  std::string requestUuid;  ///< of the request's user, where `uuidOfRequest` tells it
  std::string infoUuid;     ///< what the record says, with the next one
  std::string refreshToken;
  std::thread::id thread = std::this_thread::get_id();
};

/// A host that keeps what a manager tells it. Any thread.
class HostRecorder final : public KBL::IExternlMediaAuthCallback, public Recorder<HostEvent> {
 public:
  KBL::_Result queryResponse(KBL::IBsBaseRequest* request, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override {
    HostEvent event;
    event.infoType = info->infoType();
    event.code = error->errorCode();
    event.text = error->errorMessage();
    event.requestName = request->getRequestName();
    if (uuidOfRequest != nullptr) event.requestUuid = uuidOfRequest(*request);
    event.infoUuid = textOf(*info, KBL::ExternlMediaLoginCharKey::userSessionId);
    event.refreshToken = textOf(*info, KBL::ExternlMediaMixedCharKey::refreshToken);
    keep(std::move(event));
    return KBL::resultOk;
  }
  void onRequestFinished(const std::string& uuid) override { keepOf(HostEvent::requestFinished, uuid); }
  void onLoginUrl(const char* uuid, const char* url) override { keepOf(HostEvent::loginUrl, uuid, url); }
  void onLoginCallbackUrl(const char* uuid, const char* url) override {
    keepOf(HostEvent::callbackUrl, uuid, url);
  }
  void onAccessTokenChanged(const char* uuid, const char* oldToken, const char* newToken) override {
    keepOf(HostEvent::tokenChanged, uuid, oldToken, newToken);
  }

  /// Looks into a request; only tests that know more than a host can do so.
  std::string (*uuidOfRequest)(KBL::IBsBaseRequest& request) = nullptr;

  using Recorder::events;
  [[nodiscard]] std::vector<HostEvent> events(HostEvent::Kind kind) const {
    std::vector<HostEvent> found = events();
    std::erase_if(found, [&](const HostEvent& event) { return event.kind != kind; });
    return found;
  }
  [[nodiscard]] bool waitFor(HostEvent::Kind kind, std::size_t count) const {
    return waitUntil([&] { return events(kind).size() >= count; });
  }

 private:
  static std::string textOf(KBL::IBsInfoReader& info, const char* key) {
    const char* const text = info.charKeyConfig(key);
    return text == nullptr ? std::string() : text;
  }
  void keepOf(HostEvent::Kind kind, const std::string& uuid, const char* text = "", const char* second = "") {
    HostEvent event;
    event.kind = kind;
    event.uuid = uuid;
    event.text = text;
    event.second = second;
    keep(std::move(event));
  }
};
