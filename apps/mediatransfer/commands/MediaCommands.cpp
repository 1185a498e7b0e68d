#include "commands/Commands.h"
#include "commands/MediaJob.h"
#include "host/Host.h"
#include "options/Failure.h"
#include "sandbox/base/MediaAccounts.h"
#include "system/Utf8Path.h"

#include <filesystem>
#include <system_error>

namespace host {
namespace {

/// The option's text, that of the stand-in servers where those are used and it is not given, or a Failure.
std::string required(const Options& options, const std::string& text, const std::string& ofSandbox,
                     const std::string& how) {
  if (!text.empty()) return text;
  if (options.sandbox && !ofSandbox.empty()) return ofSandbox;
  throw Failure(Exit::wrongUse,
                std::string(options.service->name) + " needs more to list anything; give " + how);
}

std::string token(const Options& options) {
  return required(options, options.token, sandbox::firstMediaAccount().*options.service->standInToken,
                  "--token T (or MEDIATRANSFER_TOKEN)");
}

MediaRequest mediaRequest(const Options& options) {
  MediaRequest request;
  if (options.service->signsEachRequest) {
    request.key =
        required(options, options.key, sandbox::flickrApplicationKey, "--key K (or MEDIATRANSFER_KEY)");
    request.secret = required(options, options.secret, sandbox::flickrApplicationSecret,
                              "--secret S (or MEDIATRANSFER_SECRET)");
  }
  request.token = token(options);
  if (options.service->hasAlbums) {
    request.album = required(options, options.album, {},
                             "--album ID; albums " + std::string(options.service->name) + " lists them");
  }
  return request;
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
    throw Failure(Exit::refused, "'" + file + "' is a folder; give the name of a file");
  }
  const std::filesystem::path folder = path.parent_path();
  if (folder.empty() || std::filesystem::is_directory(folder, unreadable)) return;
  throw Failure(Exit::refused, "the folder of '" + file + "' is not there; make it first");
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
  const std::string accessToken = token(options);
  const Host host(options, report, Servers::optional);
  return MediaJob(report).listAlbums(accessToken);
}

int runMedia(const Options& options, Report& report) {
  refuseProxy(options);
  const MediaRequest request = mediaRequest(options);
  const Host host(options, report, Servers::optional);
  return MediaJob(report).listMedia(*options.service, request);
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
