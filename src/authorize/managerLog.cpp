#include "authorize/managerLog.h"

namespace KBL {

std::string secureInfoText(const std::string& tag, const std::string& secret) {
  if (secret.empty()) return {};
  const std::size_t third = secret.size() / 3;
  return tag + ":" + secret.substr(0, third) + std::string(third, '*') + secret.substr(2 * third);
}

void printSecureInfo(const std::string& tag, const std::string& secret) {
  if (secret.empty()) return;
  KBL_LOG_AS(severityInfo, "KBL::printSecureInfo", secureInfoText(tag, secret));
}

}  // namespace KBL
