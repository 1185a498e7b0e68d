#include "commands/AlbumDownload.h"
#include "commands/Commands.h"
#include "commands/MediaJob.h"
#include "commands/MediaLogin.h"
#include "host/Host.h"
#include "host/Interrupt.h"
#include "options/Failure.h"
#include "options/ProxyUrl.h"
#include "options/Secrets.h"
#include "system/ByteOutput.h"
#include "system/Environment.h"
#include "system/PrivateFolder.h"
#include "system/Utf8Path.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

namespace host {
namespace {

/// What a listing is asked with, all of it hidden from every text from now on.
MediaLogin openLogin(const Options& options) {
  MediaLogin login = mediaLogin(options);
  hideSecrets(givenSecrets(login.options));
  return login;
}

/// Listings and downloads find their proxy in the environment. Before the library's threads run.
void useProxy(const Options& options) {
  if (options.proxy.empty()) return;
  (void)parseProxyUrl(options.proxy);
  for (const char* name : {"http_proxy", "https_proxy"}) setEnvironment(name, options.proxy);
  // Who names a proxy wants it for all addresses, as logins and uploads take it.
  for (const char* name : {"no_proxy", "NO_PROXY"}) setEnvironment(name, "");
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
  useProxy(options);
  const MediaLogin login = openLogin(options);
  const Host host(login.options, report, Servers::optional);
  requireOrigin(login);
  return MediaJob(report).listAlbums(login.options.token);
}

int runMedia(const Options& options, Report& report) {
  useProxy(options);
  if (!options.downloadDir.empty()) checkAlbumFolder(options);
  const MediaLogin login = openLogin(options);
  const Host host(login.options, report, Servers::optional);
  requireOrigin(login);
  const Options& asked = login.options;
  const MediaRequest request{asked.token, asked.album, asked.key, asked.secret};
  if (asked.downloadDir.empty()) return MediaJob(report).listMedia(*asked.service, request);
  std::vector<MediaEvent> list;
  const int exit = MediaJob(report).listMedia(*asked.service, request, &list);
  // A list with a hole in it would look as if all had come.
  return exit == Exit::done ? downloadAlbum(asked, list, report) : exit;
}

namespace {

/// Bytes that are no text would upset a terminal.
void requireFit(const std::vector<char>& bytes) {
  if (!bytesGoToTerminal() || std::find(bytes.begin(), bytes.end(), '\0') == bytes.end()) return;
  throw Failure(Exit::wrongUse,
                "what came is no text, which a terminal cannot show; give a FILE, or send the output into a "
                "program or a file");
}

int sendFile(std::ifstream& file) {
  constexpr std::size_t atOnce = std::size_t{64} << 10;
  std::vector<char> buffer(atOnce);
  while (file) {
    buffer.resize(atOnce);
    file.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    buffer.resize(static_cast<std::size_t>(file.gcount()));
    requireFit(buffer);
    switch (sendBytes(buffer.data(), buffer.size(), &interrupted)) {
      case BytesSent::all:
        break;
      case BytesSent::lost:
        throw Failure(Cause::file, lostOutput);
      case BytesSent::interrupted:
        return Exit::interrupted;
    }
  }
  if (file.bad()) throw Failure(Cause::file, "what came cannot be read back; check the disk of TMPDIR");
  return Exit::done;
}

/// The library makes a file when all of a download is there, and so nothing of a transfer that fails is sent.
int downloadToOutput(const std::string& url, const Options& options, Report& report) {
  const PrivateFolder folder;
  if (folder.path().empty()) {
    throw Failure(Cause::file,
                  "there is no room for temporary files; check the folder that TMPDIR names, or give a FILE");
  }
  const std::filesystem::path path = folder.path() / "download";
  const int exit = MediaJob(report).download(url, narrowPath(utf8FromPath(path)), options.keepErrors);
  if (exit != Exit::done) return exit;
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Failure(Cause::file, "what came cannot be read back; check the disk of TMPDIR");
  // It stays open, and goes also where the process is killed; elsewhere the folder takes it along.
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  const int sent = sendFile(file);
  if (sent == Exit::interrupted) report.note("stopped");
  return sent;
}

}  // namespace

int runDownload(const Options& options, Report& report) {
  useProxy(options);
  if (!sendsBytes(options)) checkTarget(options.file);
  const Host host(options, report, Servers::optional);
  // The stand-ins of this process listen on another port each time, so that their files are named by path.
  const bool isOfSandbox = options.sandbox && options.url.starts_with('/');
  const std::string url = isOfSandbox ? host.sandboxUrl() + options.url : options.url;
  if (sendsBytes(options)) return downloadToOutput(url, options, report);
  return MediaJob(report).download(url, narrowPath(options.file), options.keepErrors);
}

}  // namespace host
