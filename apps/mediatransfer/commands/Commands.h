#pragma once

#include "options/Options.h"
#include "report/Report.h"

namespace host {

// One function a command: does it, reports, and returns the exit code. Throws Failure for trouble that the
// program itself finds.
int runLogin(const Options& options, Report& report);
int runVerify(const Options& options, Report& report);
int runWhoami(const Options& options, Report& report);
int runLogout(const Options& options, Report& report);
int runUpload(const Options& options, Report& report);
int runAlbums(const Options& options, Report& report);
int runMedia(const Options& options, Report& report);
int runDownload(const Options& options, Report& report);
/// The same through a script.
int runScriptLogin(const Options& options, Report& report);
int runScriptVerify(const Options& options, Report& report);
int runScriptWhoami(const Options& options, Report& report);
int runScriptLogout(const Options& options, Report& report);
int runScriptUpload(const Options& options, Report& report);
int runStatus(const Options& options, Report& report);
int runSandbox(const Options& options, Report& report);
int runDoctor(const Options& options, Report& report);
int runConfig(const Options& options, Report& report);

/// The command of the options.
int runCommand(const Options& options, Report& report);

}  // namespace host
