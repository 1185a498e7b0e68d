#include "SignInBar.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QUrl>
#include <utility>

using KBL::host::SignInEnd;

namespace {

/// The address comes from a server: nothing but a page is opened.
void openPage(const std::string& address) {
  const QUrl page(QString::fromStdString(address));
  if (page.scheme() == "http" || page.scheme() == "https") QDesktopServices::openUrl(page);
}

}  // namespace

SignInBar::SignInBar(const KBL::host::AccountSettings& settings, KBL::host::Executor executor,
                     QWidget* parent)
    : QWidget(parent),
      accounts_(KBL::ema_youtube, settings, {}, std::move(executor)),
      text_(new QLabel),
      button_(new QPushButton) {
  text_->setTextFormat(Qt::PlainText);
  text_->setWordWrap(true);
  auto* const row = new QHBoxLayout(this);
  row->addWidget(text_, 1);
  row->addWidget(button_);
  connect(button_, &QPushButton::clicked, this, &SignInBar::press);
  showWhoIsThere();
}

void SignInBar::press() {
  switch (stage_) {
    case Stage::nobody:
      return signIn();
    case Stage::waiting:
      return accounts_.cancelSignIn();
    case Stage::signedIn:
      accounts_.signOut();
      return showWhoIsThere();
  }
}

void SignInBar::signIn() {
  show(Stage::waiting, tr("Waiting for your browser …"));
  accounts_.signIn({"0"}, &openPage).then([this](const SignInEnd& end) {
    if (end.isGood()) return showWhoIsThere();
    show(Stage::nobody, QString::fromStdString(end.failure.message));
  });
}

void SignInBar::showWhoIsThere() {
  const auto user = accounts_.user();
  if (!user) return show(Stage::nobody, tr("Nobody is signed in."));
  show(Stage::signedIn,
       tr("%1 (%2)").arg(QString::fromStdString(user->nickName), QString::fromStdString(user->account)));
}

void SignInBar::show(Stage stage, const QString& text) {
  stage_ = stage;
  text_->setText(text);
  button_->setText(stage == Stage::nobody    ? tr("&Sign in")
                   : stage == Stage::waiting ? tr("&Cancel")
                                             : tr("Sign &out"));
  Q_EMIT changed(stage == Stage::signedIn);
}
