#include "host/HostCallbacks.h"

#include "host/EventQueue.h"
#include "system/neverFreed.h"
#include <BsNet/IBsBaseRequest.h>
#include <BsNet/IBsErrorInfo.h>
#include <BsNet/IBsInfoReader.h>
#include <ExternlMediaTransfer/ExternlMediaKeys.h>
#include <ExternlMediaTransfer/TransferNumbers.h>

#include <utility>

namespace host {
namespace {

std::string textOf(const char* text) {
  return text == nullptr ? std::string() : std::string(text);
}

/// Builds an event and queues it. No exception may pass into the library's threads: an event that memory is
/// too short for is lost.
template <class Fill>
void queueEvent(Event::Kind kind, Fill&& fill) noexcept {
  try {
    Event event;
    event.kind = kind;
    fill(event);
    eventQueue().push(std::move(event));
  } catch (...) {
  }
}

class AuthCallbacks final : public KBL::IExternlMediaAuthCallback {
 public:
  KBL::_Result queryResponse(KBL::IBsBaseRequest* request, KBL::IBsInfoReader* info,
                             KBL::IBsErrorInfo* error) override {
    if (info == nullptr || error == nullptr) return KBL::resultFailed;
    queueEvent(Event::Kind::answer, [&](Event& event) {
      event.infoType = info->infoType();
      event.user = textOf(info->charKeyConfig(KBL::ExternlMediaLoginCharKey::userSessionId));
      event.request = request == nullptr ? std::string() : textOf(request->getRequestName());
      event.code = error->errorCode();
      event.text = textOf(error->errorMessage());
    });
    return KBL::resultOk;
  }

  void onRequestFinished(const std::string&) override {}

  void onLoginUrl(const char* uuid, const char* url) override {
    queueEvent(Event::Kind::loginUrl, [&](Event& event) {
      event.user = textOf(uuid);
      event.text = textOf(url);
    });
  }

  void onLoginCallbackUrl(const char* uuid, const char* url) override {
    queueEvent(Event::Kind::callbackUrl, [&](Event& event) {
      event.user = textOf(uuid);
      event.text = textOf(url);
    });
  }

  // The tokens go no further.
  void onAccessTokenChanged(const char* uuid, const char*, const char*) override {
    queueEvent(Event::Kind::tokenChanged, [&](Event& event) { event.user = textOf(uuid); });
  }
};

}  // namespace

KBL::IExternlMediaAuthCallback& authCallbacks() {
  static AuthCallbacks& callbacks = neverFreed<AuthCallbacks>();
  return callbacks;
}

int onTransferEvent(void*, KBL::IExternlMediaTransfer*, int event, int value, const char* text) {
  // Everything else is an error: the transfer's own or an invalid token.
  const Event::Kind kind = event == KBL::transferEventProgress   ? Event::Kind::progress
                           : event == KBL::transferEventFinished ? Event::Kind::finished
                                                                 : Event::Kind::uploadError;
  queueEvent(kind, [&](Event& queued) {
    queued.value = value;
    queued.text = textOf(text);
  });
  return 0;
}

}  // namespace host
