#include "requests/AccountRequest.h"

#include "authorize/switchboard/ExternlMediaAuthCallbackProxy.h"
#include "requests/JsonAccess.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace KBL {

namespace {
constexpr int codeNotChecked = 1000;
}

int AccountRequest::parseEnvelope(IBsInfoReader*, const std::string& content, IBsErrorInfo* error,
                                  NetReply*) {
  parsed_ = false;
  clearMembers();
  Json::Value root;
  std::string message;
  int code = codeNotChecked;
  if (checkResponseValid(content, root, message, code) == 0) {
    error->setError(code, message.c_str());
    return 0;
  }
  readData(jsonMember(root, "data"));
  parsed_ = true;
  return 1;
}

void AccountRequest::updateOwner(IBsInfoReader* info) {
  ExternlMediaAuthCallbackProxy::instance().updateInfo(ownerTag_, userUuid_, info);
}

int decimalInt(const std::string& text) {
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  return static_cast<int>(
      std::clamp<long long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace KBL
