// The servers of all comparisons, in a process of their own: a sink for uploads over HTTP and one over TLS,
// and the stand-ins for the rest. Prints what clients have to know, a name and a value a line, then waits
// until its input ends. WORKPLACE is a folder for the cloud configurations.
#include "SinkServer.h"
#include "foundation/BsNet/client/TestCertificates.h"
#include "sandbox/Sandbox.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>

namespace {

constexpr const char* uploadKey = "urlExternlMediaAuthYoutubeUpload";

/// The stand-ins' configuration, but for uploads, which go to `sink`.
void writeConfig(const std::string& path, std::map<std::string, std::string> config,
                 const std::string& sink) {
  config[uploadKey] = sink + "/upload";
  std::ofstream file(path);
  const char* separator = "{";
  for (const auto& [key, url] : config) {
    file << separator << "\n\"" << key << "\": \"" << url << '"';
    separator = ",";
  }
  file << "\n}\n";
}

void tell(const char* name, const std::string& value) {
  (void)std::printf("%s %s\n", name, value.c_str());
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  (void)std::signal(SIGPIPE, SIG_IGN);  // of clients that end in the midst of TLS
  const std::string place = arguments[1];
  TestAuthority authority;
  const TestAuthority::Files files = authority.sign("IP:127.0.0.1", 86400);
  // Never freed: connections run until the process ends.
  static const SinkServer& plain = *new SinkServer;
  static const SinkServer& secure = *new SinkServer(files.certificate, files.key);
  sandbox::Sandbox server;
  writeConfig(place + "/http.json", server.cloudConfig(), plain.baseUrl());
  writeConfig(place + "/https.json", server.cloudConfig(), secure.baseUrl());
  tell("http", plain.baseUrl());
  tell("https", secure.baseUrl());
  tell("authority", authority.file());
  tell("token", server.issueTokens(sandbox::Platform::youtube).accessToken);
  (void)std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
}
