#pragma once

#include "authorize/switchboard/IExternlMediaAuthCallback.h"

#include <functional>
#include <mutex>
#include <string>
#include <thread>
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
  std::thread::id thread;
};

/// A host that keeps what it is told. Any thread.
class HostRecorder final : public KBL::IExternlMediaAuthCallback {
 public:
  KBL::_Result queryResponse(KBL::IBsBaseRequest* request, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override;
  void onRequestFinished(const std::string& uuid) override;
  void onLoginUrl(const char* uuid, const char* url) override;
  void onLoginCallbackUrl(const char* uuid, const char* url) override;
  void onAccessTokenChanged(const char* uuid, const char* oldToken, const char* newToken) override;

  /// Runs inside every call, after it was kept. Set before the flows start.
  std::function<void(const HostEvent&)> inside;

  [[nodiscard]] std::vector<HostEvent> events() const;
  [[nodiscard]] std::vector<HostEvent> events(HostEvent::Kind kind) const;
  [[nodiscard]] bool waitFor(HostEvent::Kind kind, std::size_t count) const;

 private:
  void keep(HostEvent event);

  mutable std::mutex mutex_;
  std::vector<HostEvent> events_;
};
