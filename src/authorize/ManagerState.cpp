#include "authorize/ManagerState.h"

#include "authorize/managerLog.h"
#include "authorize/switchboard/RequestFlow.h"
#include "boundary/records/PlatformNames.h"
#include "boundary/records/Records.h"
#include "requests/BsExternlMediaAuthRequest.h"
#include <BsNet/IBsErrorInfo.h>
#include <KblUtils/HostCode.h>

#include <new>

namespace KBL {

void SessionBook::set(const std::string& uuid, Flag flag, bool value) {
  if (!entries.read()->contains(uuid)) return;
  entries.change([&](Entries& sessions) {
    const auto entry = sessions.find(uuid);
    if (entry != sessions.end()) entry->second.*flag = value;
  });
}

bool SessionBook::get(const std::string& uuid, Flag flag) const {
  const auto now = entries.read();
  const auto entry = now->find(uuid);
  return entry != now->end() && entry->second.*flag;
}

ManagerState::ManagerState(std::int32_t platformNumber, int instanceNumber)
    : platform(platformNumber),
      logTag(std::string(platformName(platformNumber)) + "." + std::to_string(instanceNumber)),
      callbacks(logTag),
      aliveToken_(std::make_shared<char>('0')),
      aliveWitness_(aliveToken_) {}

AuthContext ManagerState::requestContext() const {
  const auto set = settings.read();
  AuthContext context;
  context.platform = platform;
  context.logTag = logTag;
  context.refreshIntervalMs = set->refreshIntervalMs;
  context.pubInfo = shareRef(set->pubInfo.get());
  context.serverProxy = shareRef(set->serverProxy.get());
  return context;
}

AuthContext ManagerState::context() const {
  AuthContext context = requestContext();
  const auto now = users.read();
  context.cacheDir = now->cacheDir;
  context.cacheEntries = now->entries;
  context.authCallbacks = callbacks.list();
  context.sessions = *sessions.entries.read();
  return context;
}

// The parts of an answer come one after the other - users, token event, refresher - and a logout may come
// between any two.
void ManagerState::tellLateAnswer(const std::string& uuid) const {
  RequestFlow* const flow = ScopedRequestFlow::current();
  if (flow != nullptr && !flow->dropAnswer()) return;
  KBL_MANAGER_LOG(severityInfo, "tellLateAnswer",
                  logTag << ", uuid: " << uuid << ", signed out, late answer dropped");
}

void ManagerState::reportAuthError(const std::string& uuid, int infoType, int code,
                                   const std::string& message) {
  const ScopedRequestFlow ofNoFlow(nullptr);  // a host may call from within a callback of a login
  const auto request = makeRef<BsExternlMediaAuthRequest>();
  const auto info = adoptRef(createRecord(infoType));
  if (!info) throw std::bad_alloc();
  initAuthRequest(requestContext(), uuid, *request);
  const auto error = request->errorInfo();
  error->setError(code, message.c_str());
  if (error->errorCode() == ErrorCode::none) throw std::bad_alloc();  // a refusal must not read as a success
  callbacks.forward(request.get(), info.get(), error.get());
}

_Result resultOfException() {
  passThreadEnd();
  return resultFailed;
}

}  // namespace KBL
