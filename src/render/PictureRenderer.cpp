#include "render/PictureRenderer.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <vector>

#include <QByteArray>
#include <QColor>
#include <QCoreApplication>
#include <QFont>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QImageWriter>
#include <QMessageLogContext>
#include <QPainter>
#include <QString>

#include "analysis/AnalysisImage.h"
#include "core/Log.h"

namespace {

// Label text height and the tick drawn at the label's row, in pixels.
constexpr int kLabelPixelSize = 11;
constexpr int kLabelTick = 6;

QByteArray FormatOf(const std::filesystem::path& path) {
  std::string ext = path.extension().string();
  if (!ext.empty()) ext.erase(0, 1);
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  if (ext == "jpg") ext = "jpeg";
  return QByteArray::fromStdString(ext);
}

std::string ErrorText(const std::filesystem::path& path, const std::string& reason) {
  return "Error saving file as " + path.string() + " - " + reason;
}

// Qt's own notices (a missing runtime folder, font fallbacks) go to the log file: the
// tool's stderr carries its progress and messages only.
void LogQtMessage(QtMsgType, const QMessageLogContext&, const QString& text) {
  LogF("Qt> %s", text.toStdString().c_str());
}

// Text needs Qt's font database, which only a QGuiApplication provides. The tool runs
// without one (and often without a display), so one is made for the drawing alone, on the
// offscreen platform; the arguments must outlive it.
std::unique_ptr<QGuiApplication> MakeTextApplication() {
  if (QCoreApplication::instance()) return nullptr;
  qInstallMessageHandler(LogQtMessage);
  static char szName[] = "vexlor-cli";
  static char szPlatformOption[] = "-platform";
  static char szPlatform[] = "offscreen";
  static char* argv[] = {szName, szPlatformOption, szPlatform, nullptr};
  static int argc = 3;
  return std::make_unique<QGuiApplication>(argc, argv);
}

// Each label's row gets a tick at the left edge and the time just above it, outlined in
// black so that it reads on any colour of the picture.
void DrawTimeLabels(QImage& picture, const std::vector<CAnalysisImage::STimeLabel>& labels, QRgb colour) {
  QPainter painter(&picture);
  QFont font = painter.font();
  font.setPixelSize(kLabelPixelSize);
  painter.setFont(font);
  const int nDescent = QFontMetrics(font).descent();
  const QColor textColour = QColor::fromRgb(colour);
  for (const CAnalysisImage::STimeLabel& label : labels) {
    if (label.nRow >= static_cast<std::size_t>(picture.height())) continue;
    const int y = picture.height() - 1 - static_cast<int>(label.nRow);
    const QString text = QString::fromStdString(label.strText);
    const int nBaseline = y - 1 - nDescent;
    painter.setPen(Qt::black);
    painter.drawLine(0, y + 1, kLabelTick, y + 1);
    for (int dx = -1; dx <= 1; ++dx) {
      for (int dy = -1; dy <= 1; ++dy) {
        if (dx != 0 || dy != 0) painter.drawText(2 + dx, nBaseline + dy, text);
      }
    }
    painter.setPen(textColour);
    painter.drawLine(0, y, kLabelTick, y);
    painter.drawText(2, nBaseline, text);
  }
}

}  // namespace

bool CPictureRenderer::FormatSupported(const std::filesystem::path& path, std::string& strError) {
  const QByteArray format = FormatOf(path);
  if (format.isEmpty() || !QImageWriter::supportedImageFormats().contains(format)) {
    std::string known;
    for (const QByteArray& f : QImageWriter::supportedImageFormats()) known += (known.empty() ? "" : ", ") + f.toStdString();
    strError = ErrorText(path, "unsupported image format \"" + format.toStdString() + "\" (this build writes " +
                                   known + ")");
    return false;
  }
  return true;
}

QImage CPictureRenderer::Render(const CAnalysisImage& image) {
  const std::vector<CAnalysisImage::STimeLabel> labels = image.TimeLabels();
  const std::unique_ptr<QGuiApplication> pApplication = labels.empty() ? nullptr : MakeTextApplication();
  // Read-only over the picture's own buffer; the copy is the one drawn on.
  QImage picture = QImage(reinterpret_cast<const uchar*>(image.Pixels()), image.Width(), image.Height(),
                          image.Stride(), QImage::Format_ARGB32)
                       .copy();
  if (!labels.empty()) DrawTimeLabels(picture, labels, image.Colours().OverlayColour());
  return picture;
}

bool CPictureRenderer::Save(const CAnalysisImage& image, const std::filesystem::path& path, std::string& strError) {
  if (!FormatSupported(path, strError)) return false;
  const QImage picture = Render(image);
  QImageWriter writer(QString::fromStdString(path.string()), FormatOf(path));
  if (!writer.write(picture)) {
    strError = ErrorText(path, writer.errorString().toStdString());
    return false;
  }
  strError.clear();
  return true;
}
