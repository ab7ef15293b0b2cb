#include "app/SplashScreen.h"

#include <QApplication>
#include <QPainter>

#include "analysis/ColourTable.h"
#include "app/VexlorApp.h"

namespace {

QPixmap SplashPicture() {
  QPixmap pixmap(440, 200);
  pixmap.fill(QColor(32, 32, 36));
  QPainter painter(&pixmap);
  // A band of the default palette, weakest to strongest.
  const CColourTable table;
  for (int x = 0; x < pixmap.width(); ++x) {
    painter.setPen(QColor::fromRgba(table[x * (CColourTable::kSize - 1) / (pixmap.width() - 1)]));
    painter.drawLine(x, 150, x, 164);
  }
  painter.setPen(QColor(230, 230, 230));
  QFont font = painter.font();
  font.setPointSize(26);
  font.setBold(true);
  painter.setFont(font);
  painter.drawText(QRect(24, 30, 400, 50), Qt::AlignLeft | Qt::AlignVCenter, "Vexlor");
  font.setPointSize(10);
  font.setBold(false);
  painter.setFont(font);
  painter.drawText(QRect(26, 82, 400, 40), Qt::AlignLeft | Qt::AlignTop,
                   QString("Version %1\nIQ recording analyser").arg(CVexlorApp::Version()));
  return pixmap;
}

}  // namespace

CSplashScreen::CSplashScreen() : QSplashScreen(SplashPicture()) { setObjectName("CSplashScreen"); }

void CSplashScreen::ShowStep(const QString& strText) {
  showMessage(strText, Qt::AlignLeft | Qt::AlignBottom, QColor(200, 200, 200));
  QApplication::processEvents();
}
