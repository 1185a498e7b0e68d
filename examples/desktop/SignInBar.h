#pragma once

#include <ExternlMediaTransfer/host/Accounts.h>

#include <QWidget>

class QLabel;
class QPushButton;

/// Who is signed in, and the button that changes it. The login itself is the browser's.
class SignInBar : public QWidget {
  Q_OBJECT

 public:
  SignInBar(const KBL::host::AccountSettings& settings, KBL::host::Executor executor,
            QWidget* parent = nullptr);

  [[nodiscard]] bool isSignedIn() const { return accounts_.user().has_value(); }

 Q_SIGNALS:
  void changed(bool isSignedIn);

 private:
  enum class Stage { nobody, waiting, signedIn };

  void press();
  void signIn();
  void show(Stage stage, const QString& text);
  void showWhoIsThere();

  KBL::host::Accounts accounts_;
  QLabel* const text_;
  QPushButton* const button_;
  Stage stage_ = Stage::nobody;
};
