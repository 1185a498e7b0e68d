#pragma once

#include <KblLogger/KblLogger.h>

#include <string>

/// A log line of a manager, under the name of its operation whichever part of the manager writes it.
#define KBL_MANAGER_LOG(severity, operation, text) \
  KBL_LOG_AS(severity, "KBL::BsExternlMediaAuthorize::" operation, text)

namespace KBL {

/// "tag:secret" with the middle third of the secret replaced by '*'; an empty secret gives an empty text. A
/// secret of one or two characters has no middle third and stays readable, which is accepted.
[[nodiscard]] std::string secureInfoText(const std::string& tag, const std::string& secret);

/// Logs that text; nothing for an empty secret.
void printSecureInfo(const std::string& tag, const std::string& secret);

}  // namespace KBL
