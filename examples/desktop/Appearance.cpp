#include "Appearance.h"

#include <QApplication>
#include <QPalette>
#include <QStyleFactory>

void wearDarkColours() {
  QApplication::setStyle(QStyleFactory::create("Fusion"));
  const QColor window(37, 38, 42);
  const QColor text(232, 232, 236);
  const QColor accent(94, 158, 255);
  QPalette palette(window);  // shades of its own for what is not named
  palette.setColor(QPalette::Base, QColor(27, 28, 31));
  palette.setColor(QPalette::Highlight, accent);
  palette.setColor(QPalette::HighlightedText, QColor(12, 13, 16));
  palette.setColor(QPalette::Link, accent);
  for (const auto role :
       {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::PlaceholderText}) {
    palette.setColor(role, text);
  }
  QApplication::setPalette(palette);
}
