#include "commands/Commands.h"
#include "host/DataFolders.h"
#include "host/Interrupt.h"
#include "options/CommandLine.h"
#include "options/Failure.h"
#include "options/Secrets.h"
#include "report/Report.h"
#include "system/ByteOutput.h"
#include "system/Terminal.h"

#include <exception>
#include <iostream>

namespace {

/// Runs the command; everything that it opened is closed again when this returns.
int run(const host::Options& options, host::Report& report) {
  try {
    return host::runCommand(options, report);
  } catch (const host::Failure& failure) {
    report.trouble(failure.what(), failure.cause);
    return failure.exit;
  } catch (const std::exception& error) {
    report.trouble(std::string("unexpected trouble: ") + error.what() + "; run again with -v",
                   host::Cause::call);
    return host::Exit::refused;
  }
}

/// What was done is worth little to somebody who did not hear of it.
int exitOf(int exit) {
  if (!host::outputIsLost()) return exit;
  std::cerr << "mediatransfer: " << host::lostOutput << std::endl;
  return host::Exit::refused;
}

int start(const std::vector<std::string>& arguments) {
  std::unique_ptr<host::Report> report;
  host::Options options;
  try {
    auto parsed = host::parseCommandLine(arguments, host::configFolder());
    if (const auto* const help = std::get_if<host::Help>(&parsed)) {
      std::cout << help->text << std::flush;
      return exitOf(host::Exit::done);
    }
    options = std::get<host::Options>(parsed);
    host::hideSecrets(host::givenSecrets(options));
    if (host::sendsBytes(options)) host::keepOutputForBytes();
  } catch (const host::Failure& failure) {
    // Whoever asked for JSON lines reads JSON lines, also when the other arguments make no sense.
    options.json = host::asksForJson(arguments, host::configFolder());
    report = options.json ? host::makeJsonReport() : host::makeConsoleReport(options);
    report->trouble(failure.what(), failure.cause);
    report->done(failure.exit);
    return failure.exit;
  }
  report = options.json ? host::makeJsonReport() : host::makeConsoleReport(options);
  const int exit = run(options, *report);
  report->done(exit);
  return exitOf(exit);
}

}  // namespace

int main(int argc, char** argv) {
  host::secureStandardStreams();
  host::watchInterrupts();
  const host::Utf8Console console;
  try {
    return start(host::utf8Arguments(argc, argv));
  } catch (const std::exception& error) {
    std::cerr << "mediatransfer: " << error.what() << std::endl;
    return host::Exit::refused;
  }
}
