#include "commands/Commands.h"
#include "commands/MediaJob.h"
#include "commands/MediaLogin.h"
#include "host/Host.h"
#include "options/Failure.h"
#include "options/Secrets.h"
#include "system/Utf8Path.h"

#include <filesystem>
#include <system_error>

namespace host {
namespace {

/// What a listing is asked with, all of it hidden from every text from now on.
MediaLogin openLogin(const Options& options) {
  MediaLogin login = mediaLogin(options);
  hideSecrets(givenSecrets(login.options));
  return login;
}

void refuseProxy(const Options& options) {
  if (options.proxy.empty()) return;
  throw Failure(Exit::wrongUse,
                "--proxy (or MEDIATRANSFER_PROXY) serves logins and uploads alone; leave it out here and set "
                "https_proxy, which listings and downloads heed");
}

/// Looks first for what would be found only when all of the file has arrived.
void checkTarget(const std::string& file) {
  if (file.empty()) throw Failure(Exit::wrongUse, "FILE is empty; give the name of the file to make");
  const std::filesystem::path path = pathFromUtf8(file);
  std::error_code unreadable;
  if (std::filesystem::is_directory(path, unreadable)) {
    throw Failure(Cause::file, "'" + file + "' is a folder; give the name of a file");
  }
  const std::filesystem::path folder = path.parent_path();
  if (folder.empty() || std::filesystem::is_directory(folder, unreadable)) return;
  throw Failure(Cause::file, "the folder of '" + file + "' is not there; make it first");
}

/// The library takes the name of the file to make in the system's narrow encoding.
std::string narrowPath(const std::string& file) {
  if (auto path = inNarrowEncoding(file)) return *path;
  throw Failure(Exit::wrongUse,
                "'" + file + "' has letters that this system's narrow encoding lacks; give another name");
}

}  // namespace

int runAlbums(const Options& options, Report& report) {
  refuseProxy(options);
  const MediaLogin login = openLogin(options);
  const Host host(login.options, report, Servers::optional);
  requireOrigin(login);
  return MediaJob(report).listAlbums(login.options.token);
}

int runMedia(const Options& options, Report& report) {
  refuseProxy(options);
  const MediaLogin login = openLogin(options);
  const Host host(login.options, report, Servers::optional);
  requireOrigin(login);
  const Options& asked = login.options;
  return MediaJob(report).listMedia(*asked.service, {asked.token, asked.album, asked.key, asked.secret});
}

int runDownload(const Options& options, Report& report) {
  refuseProxy(options);
  checkTarget(options.file);
  const Host host(options, report, Servers::optional);
  // The stand-ins of this process listen on another port each time, so that their files are named by path.
  const bool isOfSandbox = options.sandbox && options.url.starts_with('/');
  const std::string url = isOfSandbox ? host.sandboxUrl() + options.url : options.url;
  return MediaJob(report).download(url, narrowPath(options.file), options.keepErrors);
}

}  // namespace host
