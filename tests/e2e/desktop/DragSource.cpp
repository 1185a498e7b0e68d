// A window that files are dragged from, once, as from a file manager. Usage: drag_source FILE...
#include <QApplication>
#include <QDrag>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>
#include <cstdio>

namespace {

class DragSource : public QLabel {
 public:
  DragSource() : QLabel("Drag me") {
    setAlignment(Qt::AlignCenter);
    setWindowTitle("Files");
  }

 protected:
  void mouseMoveEvent(QMouseEvent* event) override {
    if ((event->buttons() & Qt::LeftButton) == 0) return;
    QList<QUrl> urls;
    for (const QString& file : QApplication::arguments().mid(1)) urls << QUrl::fromLocalFile(file);
    auto* const files = new QMimeData;
    files->setUrls(urls);
    auto* const drag = new QDrag(this);  // both are Qt's from here on
    drag->setMimeData(files);
    const Qt::DropAction action = drag->exec(Qt::CopyAction);
    std::puts(action == Qt::CopyAction ? "taken" : "refused");
    std::fflush(stdout);
    hide();  // and stays: the files are asked for behind the drop
  }
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  DragSource source;
  source.resize(160, 120);
  source.show();
  return QApplication::exec();
}
