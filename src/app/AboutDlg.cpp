#include "app/AboutDlg.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>
#include <QtCharts/qtchartsversion.h>

#include "app/VexlorApp.h"
#include "core/Paths.h"
#include "persist/MySettingsStore.h"
#include "player/LibraryVersions.h"

CAboutDlg::CAboutDlg(CMySettingsStore& settings, QWidget* pParent) : QDialog(pParent) {
  setObjectName("CAboutDlg");
  setWindowTitle("About Vexlor");
  QString strLibraries = QString("<tr><td>Qt</td><td>%1 (built with %2), Qt Charts %3</td></tr>")
                             .arg(qVersion(), QT_VERSION_STR, QTCHARTS_VERSION_STR);
  for (const auto& [strName, strVersion] : EngineLibraryVersions())
    strLibraries += QString("<tr><td>%1</td><td>%2</td></tr>")
                        .arg(QString::fromStdString(strName).toHtmlEscaped(),
                             QString::fromStdString(strVersion).toHtmlEscaped());
  const auto folder = [](const std::filesystem::path& path) {
    return QString::fromStdString(path.string()).toHtmlEscaped();
  };
  m_strText =
      QString("<h3>Vexlor %1</h3>"
              "<p>An analyser of IQ recordings of software-defined-radio receivers: waterfall pictures, "
              "signal history, tags and a demodulating player.</p>"
              "<p><b>Libraries</b></p><table cellspacing=4>%2</table>"
              "<p><b>Folders</b></p><table cellspacing=4>"
              "<tr><td>Data</td><td>%3</td></tr>"
              "<tr><td>Settings</td><td>%4</td></tr>"
              "<tr><td>Pictures</td><td>%5</td></tr></table>")
          .arg(CVexlorApp::Version(), strLibraries, folder(DataFolder()), folder(settings.FilePath()),
               folder(PicturesFolder()));
  auto* pText = new QLabel(m_strText, this);
  pText->setTextFormat(Qt::RichText);
  pText->setTextInteractionFlags(Qt::TextSelectableByMouse);
  auto* pButtons = new QDialogButtonBox(QDialogButtonBox::Close, this);
  connect(pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* pLayout = new QVBoxLayout(this);
  pLayout->addWidget(pText);
  pLayout->addWidget(pButtons);
}
