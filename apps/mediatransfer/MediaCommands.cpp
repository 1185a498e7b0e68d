#include "Commands.h"
#include "Failure.h"
#include "Host.h"
#include "MediaJob.h"
#include "MediaReport.h"
#include "Utf8Path.h"
#include "sandbox/MediaAccounts.h"
#include "system/NarrowEncoding.h"

#include <filesystem>
#include <memory>
#include <system_error>

namespace host {
namespace {

/// The option's text, that of the stand-in servers where those are used and it is not given, or a Failure.
std::string required(const Options& options, const std::string& text, const std::string& ofSandbox,
                     const char* how) {
  if (!text.empty()) return text;
  if (options.sandbox && !ofSandbox.empty()) return ofSandbox;
  throw Failure(Exit::wrongUse, options.service + " needs more to list anything; give " + how);
}

std::string token(const Options& options, const std::string& ofSandbox) {
  return required(options, options.token, ofSandbox, "--token T (or MEDIATRANSFER_TOKEN)");
}

std::unique_ptr<MediaReport> mediaReport(const Options& options, Report& report) {
  return options.json ? makeMediaLines(report) : makeMediaTable(options, report);
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
  const std::string accessToken = token(options, sandbox::firstMediaAccount().facebookToken);
  const Host host(options, report, Servers::optional);
  const auto shown = mediaReport(options, report);
  return MediaJob(*shown).listAlbums(accessToken);
}

int runMedia(const Options& options, Report& report) {
  refuseProxy(options);
  const auto shown = mediaReport(options, report);
  const sandbox::MediaAccount account = sandbox::firstMediaAccount();
  if (options.service == "facebook") {
    const std::string accessToken = token(options, account.facebookToken);
    const std::string album = required(options, options.album, {}, "--album ID; albums facebook lists them");
    const Host host(options, report, Servers::optional);
    return MediaJob(*shown).listFacebook(accessToken, album);
  }
  if (options.service == "instagram") {
    const std::string accessToken = token(options, account.instagramToken);
    const Host host(options, report, Servers::optional);
    return MediaJob(*shown).listInstagram(accessToken);
  }
  const std::string key =
      required(options, options.key, sandbox::kFlickrApplicationKey, "--key K (or MEDIATRANSFER_KEY)");
  const std::string secret = required(options, options.secret, sandbox::kFlickrApplicationSecret,
                                      "--secret S (or MEDIATRANSFER_SECRET)");
  const std::string pair = token(options, account.flickrPair);
  const Host host(options, report, Servers::optional);
  return MediaJob(*shown).listFlickr(key, secret, pair);
}

int runDownload(const Options& options, Report& report) {
  refuseProxy(options);
  checkTarget(options.file);
  const Host host(options, report, Servers::optional);
  // The stand-ins of this process listen on another port each time, so that their files are named by path.
  const bool isOfSandbox = options.sandbox && options.url.starts_with('/');
  const std::string url = isOfSandbox ? host.sandboxUrl() + options.url : options.url;
  const auto shown = mediaReport(options, report);
  return MediaJob(*shown).download(url, narrowPath(options.file));
}

}  // namespace host
