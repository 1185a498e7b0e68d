#pragma once

#include <KblLogger/KblLogger.h>
#include <KblUtils/HostCode.h>

#include <source_location>
#include <sstream>

namespace KBL {

/// One line of severity 4 for a step that several requests share: file, line and function are those of
/// `caller`. `write` fills the line; it is not called when nobody takes the line. A line that cannot be built
/// is left out, as by KBL_LOG.
template <class Write>
void logFrom(const std::source_location& caller, Write write) {
  try {
    KblLoggerWrapper* const logger = loggerWrapper(0);
    if (logger == nullptr || !logger->testSeverity(IBsLogger::severityInfo)) return;
    std::ostringstream text;
    write(text);
    logger->createLogStream(IBsLogger::severityInfo, fileNameOf(caller.file_name()),
                            static_cast<int>(caller.line()),
                            qualifiedFunctionName(caller.function_name()).c_str()) +
        text;
  } catch (...) {
    passThreadEnd();
  }
}

}  // namespace KBL
