// The stand-in servers as a program of their own.
#include "sandbox/Foreground.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
  sandbox::SandboxOptions options;
  std::string configFile;
  std::string consent = "auto";

  CLI::App app("Stand-ins for the account server and every media service on 127.0.0.1");
  app.allow_windows_style_options(false);
  app.add_option("--port", options.port, "port to listen on; 0 takes a free one")
      ->check(CLI::Range(0, 65535));
  app.add_option("--state-dir", options.stateDir, "keep users, tokens and finished uploads in this folder");
  app.add_option("--consent", consent, "auto: logins are allowed by themselves; ask: on the page")
      ->check(CLI::IsMember({"auto", "ask"}));
  app.add_option("--config-file", configFile, "write the cloud configuration here instead of printing it");
  app.add_option("--app-secret", options.appSecret, "the application secret to accept; empty accepts any");
  app.add_option("--app-id", options.appId, "the application id of scripted platforms to accept; empty: any");
  app.add_option("--app-redirect", options.appRedirect,
                 "where logins of scripted platforms may end; empty accepts any web address");
  app.add_flag("--withdrawn", options.twitchUploadWithdrawn,
               "Twitch refuses uploads as the service does now");
  app.add_flag("--tls", options.tls, "https with a certificate made at start");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // The parser's own codes are not ours: wrong use is 2.
    return app.exit(error) == 0 ? 0 : 2;
  }
  options.consent = consent == "ask" ? sandbox::Consent::ask : sandbox::Consent::automatic;
  return sandbox::runInForeground(options, configFile, std::cout, std::cerr);
}
