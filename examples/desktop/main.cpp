// A desktop program: sign in by the browser, drop videos, watch them go.
// Usage: desktop_upload --sandbox | --cloud-config FILE [--app-secret S] [--data-dir DIR] [--dark]
#include "Appearance.h"
#include "MainWindow.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>

#include <MediaTransferSandbox/Sandbox.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QStandardPaths>
#include <cstdio>
#include <optional>
#include <string>

namespace {

int complain(const std::string& text) {
  std::fprintf(stderr, "%s\n", text.c_str());
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName("mediatransfer-desktop");
  QCommandLineParser options;
  options.addHelpOption();
  options.addOptions({{"sandbox", "Try it with servers in this process, which ask in the browser."},
                      {"cloud-config", "The servers' addresses.", "FILE"},
                      {"app-secret", "Of the application.", "SECRET", "sandbox-app-secret"},
                      {"data-dir", "Where logins are kept.", "DIR"},
                      {"dark", "Dark colours, whatever the desktop has."}});
  options.process(application);

  std::optional<mediatransfer::Sandbox> servers;
  if (options.isSet("sandbox")) {
    mediatransfer::SandboxSettings settings;
    settings.consent = mediatransfer::Consent::ask;
    settings.page = true;
    servers.emplace(settings);
    KBL::setCloudConfig(servers->cloudConfig());
    std::printf("watch it at %s\n", servers->address().c_str());
    std::fflush(stdout);
  } else {
    const std::string wrong = KBL::loadCloudConfig(options.value("cloud-config").toStdString());
    if (!wrong.empty()) return complain(wrong + "; use --sandbox or --cloud-config FILE");
  }

  const std::string folder =
      (options.isSet("data-dir") ? options.value("data-dir")
                                 : QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation))
          .toStdString();
  KBL::setKeyStore(KBL::makeFileKeyStore(folder));
  if (options.isSet("dark")) wearDarkColours();
  MainWindow window({folder + "/cache", options.value("app-secret").toStdString()});
  window.show();
  return QApplication::exec();
}
