#include "authorize/HostRecorder.h"

#include "foundation/BsNet/IBsBaseRequest.h"
#include "foundation/BsNet/IBsErrorInfo.h"
#include "support/WaitUntil.h"

#include <utility>

void HostRecorder::keep(HostEvent event) {
  event.thread = std::this_thread::get_id();
  {
    const std::lock_guard lock(mutex_);
    events_.push_back(event);
  }
  if (inside) inside(event);
}

KBL::_Result HostRecorder::queryResponse(KBL::IBsBaseRequest* request, KBL::IBsInfoReader* info,
                                         KBL::IBsErrorInfo* error) {
  HostEvent event;
  event.infoType = info->infoType();
  event.code = error->errorCode();
  event.text = error->errorMessage();
  event.requestName = request->getRequestName();
  keep(std::move(event));
  return KBL::resultOk;
}

void HostRecorder::onRequestFinished(const std::string& uuid) {
  HostEvent event;
  event.kind = HostEvent::requestFinished;
  event.uuid = uuid;
  keep(std::move(event));
}

void HostRecorder::onLoginUrl(const char* uuid, const char* url) {
  HostEvent event;
  event.kind = HostEvent::loginUrl;
  event.uuid = uuid;
  event.text = url;
  keep(std::move(event));
}

void HostRecorder::onLoginCallbackUrl(const char* uuid, const char* url) {
  HostEvent event;
  event.kind = HostEvent::callbackUrl;
  event.uuid = uuid;
  event.text = url;
  keep(std::move(event));
}

void HostRecorder::onAccessTokenChanged(const char* uuid, const char* oldToken, const char* newToken) {
  HostEvent event;
  event.kind = HostEvent::tokenChanged;
  event.uuid = uuid;
  event.text = oldToken;
  event.second = newToken;
  keep(std::move(event));
}

std::vector<HostEvent> HostRecorder::events() const {
  const std::lock_guard lock(mutex_);
  return events_;
}

std::vector<HostEvent> HostRecorder::events(HostEvent::Kind kind) const {
  std::vector<HostEvent> found;
  for (const HostEvent& event : events()) {
    if (event.kind == kind) found.push_back(event);
  }
  return found;
}

bool HostRecorder::waitFor(HostEvent::Kind kind, std::size_t count) const {
  return waitUntil([&] { return events(kind).size() >= count; });
}
