// The servers of all comparisons, in a process of their own: a sink for uploads over HTTP and one over TLS,
// and the stand-ins for the rest. Prints what clients have to know, a name and a value a line, then waits
// until its input ends. WORKPLACE is a folder for the cloud configurations and the
// scripts' addresses.
#include "SinkServer.h"
#include "sandbox/Sandbox.h"
#include "support/TestCertificates.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>

namespace {

using Addresses = std::map<std::string, std::string>;

/// The addresses of all uploads on one sink.
Addresses uploadsTo(const std::string& youtube, const std::string& rest) {
  return {{"urlExternlMediaAuthYoutubeUpload", youtube},
          {"urlExternlMediaAuthTiktokUpload", rest},
          {"urlExternlMediaAuthDouyinVideoPartInit", rest},
          {"urlExternlMediaAuthDouyinVideoPartUpload", rest},
          {"urlExternlMediaAuthDouyinVideoPartComplete", rest}};
}

void writeAddresses(const std::string& path, const Addresses& addresses) {
  std::ofstream file(path);
  const char* separator = "{";
  for (const auto& [key, url] : addresses) {
    file << separator << "\n\"" << key << "\": \"" << url << '"';
    separator = ",";
  }
  file << "\n}\n";
}

/// The stand-ins' configuration, but for these.
void writeConfig(const std::string& path, Addresses config, const Addresses& others) {
  for (const auto& [key, url] : others) config[key] = url;
  writeAddresses(path, config);
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
  sandbox::SandboxOptions crowdComes;
  crowdComes.rotateRefreshTokens = false;  // one serves many users, round after round
  sandbox::Sandbox server(crowdComes);
  sandbox::SandboxOptions nobodyComes;
  nobodyComes.consent = sandbox::Consent::ask;
  const sandbox::Sandbox waiting(nobodyComes);
  const Addresses config = server.cloudConfig();
  const std::string base = plain.baseUrl();
  writeConfig(place + "/http.json", config, uploadsTo(base + "/upload", base + "/upload"));
  writeConfig(place + "/stall.json", config, uploadsTo(base + "/opens-stall", base + "/stall"));
  writeAddresses(place + "/waiting.json", waiting.cloudConfig());
  writeAddresses(place + "/services.json", {{"vimeoApi", base + "/vimeo"}});
  writeConfig(place + "/https.json", config,
              uploadsTo(secure.baseUrl() + "/upload", secure.baseUrl() + "/upload"));
  tell("http", base);
  tell("https", secure.baseUrl());
  tell("authority", authority.file());
  const sandbox::IssuedTokens tokens = server.issueTokens(sandbox::Platform::youtube);
  tell("refresh", tokens.refreshToken);
  tell("token", tokens.accessToken);
  (void)std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
}
