// The window of the desktop example, used by mouse, against the stand-in servers in this process.
#include "MainWindow.h"
#include "RateCurve.h"
#include "VideoList.h"
#include "VideoRow.h"
#include "support/TemporaryDirectory.h"
#include <BsCloudConfig/BsCloudConfig.h>
#include <BsNet/cipher.h>

#include <MediaTransferSandbox/Sandbox.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QDesktopServices>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest/QTest>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

using mediatransfer::Consent;

namespace {

constexpr int limitMs = 60000;

class Application : public testing::Environment {
 public:
  void SetUp() override {
    (void)setenv("QT_QPA_PLATFORM", "offscreen", 1);
    application_ = std::make_unique<QApplication>(count_, arguments_);
  }
  void TearDown() override { application_.reset(); }

 private:
  int count_ = 1;
  char name_[8] = "desktop";
  char* arguments_[2] = {name_, nullptr};
  std::unique_ptr<QApplication> application_;
};

[[maybe_unused]] testing::Environment* const application = testing::AddGlobalTestEnvironment(new Application);

/// Takes the place of the browser.
class Browser : public QObject {
  Q_OBJECT

 public:
  Browser() {
    for (const char* scheme : {"http", "other"}) QDesktopServices::setUrlHandler(scheme, this, "open");
  }
  ~Browser() override {
    for (const char* scheme : {"http", "other"}) QDesktopServices::unsetUrlHandler(scheme);
  }

  QList<QUrl> opened;

 public Q_SLOTS:
  void open(const QUrl& address) { opened << address; }
};

class Desktop : public testing::Test {
 protected:
  Desktop() {
    servers.setConsent(Consent::ask);
    KBL::setCloudConfig(servers.cloudConfig());
    KBL::setKeyStore(KBL::makeFileKeyStore(folder.file("key")));
    window =
        std::make_unique<MainWindow>(KBL::host::AccountSettings{folder.file("cache"), "sandbox-app-secret"});
    window->show();
  }

  QPushButton* signInButton() { return window->findChild<QPushButton*>(); }
  QString signInText() { return window->findChild<QLabel*>()->text(); }
  void click(QPushButton* button) { QTest::mouseClick(button, Qt::LeftButton); }
  bool becomes(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, limitMs); }

  /// As far as the browser is open.
  void begin() {
    click(signInButton());
    ASSERT_TRUE(becomes([&] { return !browser.opened.isEmpty(); }));
    login = servers.waitForPendingLogin(std::chrono::seconds(30)).value_or("");
  }
  void signIn() {
    begin();
    ASSERT_TRUE(servers.allow(login));
    ASSERT_TRUE(becomes([&] { return signInButton()->text() == "Sign &out"; }));
  }
  /// As a drop does; the drop itself wants a screen.
  QList<VideoRow*> drop(const QStringList& files) {
    auto* const list = window->findChild<VideoList*>();
    Q_EMIT list->dropped(files);
    return list->findChildren<VideoRow*>();
  }
  QString video(const std::string& name, std::size_t size) {
    const std::string file = folder.file(name);
    std::ofstream(file, std::ios::binary) << std::string(size, 'v');
    return QString::fromStdString(file);
  }

  TemporaryDirectory folder;
  mediatransfer::Sandbox servers;
  Browser browser;
  std::unique_ptr<MainWindow> window;
  std::string login;
};

TEST_F(Desktop, SignsInByTheBrowserAndOutAgain) {
  EXPECT_EQ(signInText(), "Nobody is signed in.");
  begin();
  EXPECT_EQ(signInButton()->text(), "&Cancel");
  EXPECT_TRUE(browser.opened.first().toString().startsWith(QString::fromStdString(servers.address())));
  ASSERT_TRUE(servers.allow(login));
  ASSERT_TRUE(becomes([&] { return signInButton()->text() == "Sign &out"; }));
  EXPECT_EQ(signInText(), "Ada Quill (ada.quill@example.com)");
  click(signInButton());
  EXPECT_EQ(signInText(), "Nobody is signed in.");
}

TEST_F(Desktop, OpensNothingButPages) {
  mediatransfer::SandboxFault fault{"session", "replaceMember"};
  fault.path = "data.open_url";
  fault.text = "\"other:program\"";
  servers.orderFault(fault);
  click(signInButton());
  ASSERT_TRUE(becomes([&] { return !servers.requests("code").empty(); })) << "behind the address";
  QTest::qWait(0);
  EXPECT_TRUE(browser.opened.isEmpty());
}

TEST_F(Desktop, TellsOfALoginThatIsCancelled) {
  begin();
  click(signInButton());
  ASSERT_TRUE(becomes([&] { return signInButton()->text() == "&Sign in"; }));
  EXPECT_EQ(signInText(), "Cancelled.");
}

TEST_F(Desktop, UploadsWhatWaitsOneAfterTheOtherOnceSomebodyIsThere) {
  const auto rows = drop({video("one.mp4", 5 << 20), video("two.mp4", 1 << 20)});
  ASSERT_EQ(rows.size(), 2);
  QTest::qWait(0);
  EXPECT_EQ(rows[0]->stateText(), "Waits");
  signIn();
  ASSERT_TRUE(becomes([&] { return rows[1]->stateText().startsWith("Uploaded: https://"); }));
  EXPECT_TRUE(rows[0]->stateText().startsWith("Uploaded: https://"));
  EXPECT_EQ(rows[0]->findChild<QProgressBar*>()->value(), 100);
  EXPECT_TRUE(rows[0]->findChild<RateCurve*>()->isVisible());
  EXPECT_FALSE(rows[0]->findChild<QPushButton*>()->isVisible());
  ASSERT_EQ(servers.uploads().size(), 2U);
  EXPECT_EQ(servers.uploads()[0].size, 5U << 20);
  EXPECT_NE(servers.uploads()[1].metadata.find("\"two\""), std::string::npos) << "the title";
}

TEST_F(Desktop, StopsTheOneThatRunsAndTheOneThatWaits) {
  signIn();
  const auto stall = servers.orderFault({"youtubeUploadChunk", "stall", 2});
  const auto rows = drop({video("one.mp4", 9 << 20), video("two.mp4", 1 << 20), video("three.mp4", 1 << 20)});
  ASSERT_TRUE(becomes([&] { return servers.faultsDelivered(stall) == 1; }));
  ASSERT_TRUE(becomes([&] { return rows[0]->stateText() == "Uploads"; }));
  click(rows[1]->findChild<QPushButton*>());
  click(rows[0]->findChild<QPushButton*>());
  EXPECT_EQ(rows[0]->stateText(), "Stopped");
  EXPECT_EQ(rows[1]->stateText(), "Stopped before it began");
  servers.releaseStalls();
  ASSERT_TRUE(becomes([&] { return rows[2]->stateText().startsWith("Uploaded: "); }));
  EXPECT_EQ(rows[0]->stateText(), "Stopped") << "whatever came late";
  ASSERT_EQ(servers.uploads().size(), 2U);
  EXPECT_FALSE(servers.uploads()[0].isComplete);
}

TEST_F(Desktop, ShowsWhyAnUploadFailed) {
  signIn();
  mediatransfer::SandboxFault fault{"youtubeUploadOpen", "status"};
  fault.times = 0;
  fault.code = 403;
  fault.text = "no room for <b>this</b>";
  servers.orderFault(fault);
  const auto rows = drop({video("one.mp4", 1 << 20)});
  ASSERT_TRUE(becomes([&] { return rows[0]->stateText().contains("no room for <b>this</b>"); }));
}

TEST_F(Desktop, GoesWhileAnUploadRuns) {
  signIn();
  const auto stall = servers.orderFault({"youtubeUploadChunk", "stall"});
  drop({video("one.mp4", 1 << 20)});
  ASSERT_TRUE(becomes([&] { return servers.faultsDelivered(stall) == 1; }));
  window.reset();
  servers.releaseStalls();
  QTest::qWait(0);
}

TEST(DesktopRow, KeepsItsLastWord) {
  VideoRow row("/nowhere/film.mp4");
  row.showBegin();
  row.showPercent(10);
  row.showEnd("Stopped", false);
  row.showPercent(20);
  EXPECT_EQ(row.stateText(), "Stopped");
  EXPECT_EQ(row.findChild<QProgressBar*>()->value(), 10);
}

TEST(DesktopCurve, IsDrawnInThePalettesColour) {
  RateCurve curve;
  curve.resize(300, 60);
  QPalette palette;
  palette.setColor(QPalette::Highlight, QColor(200, 20, 180));
  curve.setPalette(palette);
  const auto count = [&curve] {
    const QImage image = curve.grab().toImage();
    int found = 0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) found += image.pixelColor(x, y) == QColor(200, 20, 180) ? 1 : 0;
    }
    return found;
  };
  EXPECT_EQ(count(), 0);
  EXPECT_EQ(curve.text(), "");
  curve.add(1 << 20);
  curve.add(2 << 20);
  EXPECT_GT(count(), 50);
  EXPECT_TRUE(curve.text().startsWith("2")) << curve.text().toStdString();
  EXPECT_EQ(curve.accessibleDescription(), curve.text());
}

}  // namespace

#include "DesktopTest.moc"
