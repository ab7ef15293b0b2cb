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

#include <gif_lib.h>

#include <QSaveFile>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "analysis/AnalysisSession.h"
#include "render/PictureAnnotations.h"
#include "core/Log.h"

namespace {

constexpr int kLabelPixelSize = 11;

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

// Colours reduced to 256 and written through giflib, the whole file at once.
bool WriteGif(const QImage& image, const QString& strPath, std::string& strReason) {
  const QImage indexed = image.convertToFormat(QImage::Format_Indexed8, Qt::ThresholdDither | Qt::AvoidDither);
  int nError = 0;
  GifFileType* pGif = EGifOpenFileName(strPath.toLocal8Bit().constData(), false, &nError);
  if (!pGif) {
    strReason = GifErrorString(nError);
    return false;
  }
  const QList<QRgb> table = indexed.colorTable();
  std::vector<GifColorType> aColours(256);
  for (int i = 0; i < table.size() && i < 256; ++i)
    aColours[static_cast<std::size_t>(i)] = {static_cast<GifByteType>(qRed(table[i])),
                                             static_cast<GifByteType>(qGreen(table[i])),
                                             static_cast<GifByteType>(qBlue(table[i]))};
  ColorMapObject* pMap = GifMakeMapObject(256, aColours.data());
  bool bOK = pMap && EGifPutScreenDesc(pGif, indexed.width(), indexed.height(), 8, 0, pMap) == GIF_OK &&
             EGifPutImageDesc(pGif, 0, 0, indexed.width(), indexed.height(), false, nullptr) == GIF_OK;
  for (int y = 0; bOK && y < indexed.height(); ++y)
    bOK = EGifPutLine(pGif, const_cast<GifPixelType*>(indexed.constScanLine(y)), indexed.width()) == GIF_OK;
  if (!bOK) strReason = GifErrorString(pGif->Error);
  GifFreeMapObject(pMap);
  if (EGifCloseFile(pGif, &nError) != GIF_OK && bOK) {
    strReason = GifErrorString(nError);
    bOK = false;
  }
  return bOK;
}

bool IsGif(const QByteArray& format) { return format == "gif"; }

}  // namespace

bool CPictureRenderer::FormatSupported(const std::filesystem::path& path, std::string& strError) {
  const QByteArray format = FormatOf(path);
  if (IsGif(format)) return true;
  if (format.isEmpty() || !QImageWriter::supportedImageFormats().contains(format)) {
    std::string known = "gif";
    for (const QByteArray& f : QImageWriter::supportedImageFormats()) known += ", " + f.toStdString();
    strError = ErrorText(path, "unsupported image format \"" + format.toStdString() + "\" (this build writes " +
                                   known + ")");
    return false;
  }
  return true;
}

QImage CPictureRenderer::PictureOnly(const CAnalysisSession& session) {
  const CAnalysisImage& image = session.Image();
  return QImage(reinterpret_cast<const uchar*>(image.Pixels()), image.Width(), image.Height(), image.Stride(),
                QImage::Format_ARGB32)
      .copy();
}

QImage CPictureRenderer::Render(const CAnalysisSession& session) {
  const std::unique_ptr<QGuiApplication> pApplication = MakeTextApplication();
  const CAnalysisImage& image = session.Image();
  const int nTop = kTitleHeight + kScaleHeight;
  QImage canvas(kTimeWidth + image.Width() + kBarWidth, nTop + image.Height() + kBottomMargin, QImage::Format_ARGB32);
  canvas.fill(CPictureAnnotations::kBackground);
  QPainter painter(&canvas);
  QFont font = painter.font();
  font.setPixelSize(kLabelPixelSize);
  painter.setFont(font);
  // Read-only over the picture's own buffer: the pixels are drawn unchanged.
  const QImage picture(reinterpret_cast<const uchar*>(image.Pixels()), image.Width(), image.Height(), image.Stride(),
                       QImage::Format_ARGB32);
  painter.drawImage(kTimeWidth, nTop, picture);
  CPictureAnnotations::SMapping map;
  map.rcPicture = QRectF(kTimeWidth, nTop, image.Width(), image.Height());
  if (session.Options().m_bAnalysisShowGrid) CPictureAnnotations::DrawGrid(painter, session, map);
  CPictureAnnotations::DrawTags(painter, session, map);
  painter.setPen(CPictureAnnotations::kTextColour);
  painter.drawText(QRectF(4, 0, canvas.width() - 8, kTitleHeight), Qt::AlignLeft | Qt::AlignVCenter,
                   CPictureAnnotations::TitleText(session));
  CPictureAnnotations::DrawFrequencyScale(painter, session, map, nTop - 10);
  CPictureAnnotations::DrawTimeLabels(painter, session, map);
  const double dBarHeight = std::min<double>(image.Height(), 400.0);
  CPictureAnnotations::DrawColourBar(painter, session, QRectF(kTimeWidth + image.Width() + 8, nTop, 14, dBarHeight));
  return canvas;
}

bool CPictureRenderer::Save(const CAnalysisSession& session, const std::filesystem::path& path, std::string& strError) {
  if (!FormatSupported(path, strError)) return false;
  const QImage picture = Render(session);
  const QByteArray format = FormatOf(path);
  const QString strPath = QString::fromStdString(path.string());
  std::string strReason;
  if (IsGif(format)) {
    // giflib writes by name: a temporary name beside the target, renamed into place.
    const QString strTemp = strPath + ".part";
    if (!WriteGif(picture, strTemp, strReason) || std::rename(strTemp.toLocal8Bit().constData(),
                                                              strPath.toLocal8Bit().constData()) != 0) {
      if (strReason.empty()) strReason = std::strerror(errno);
      std::remove(strTemp.toLocal8Bit().constData());
      strError = ErrorText(path, strReason);
      return false;
    }
  } else {
    QSaveFile file(strPath);
    QImageWriter writer(&file, format);
    if (!file.open(QIODevice::WriteOnly)) {
      strError = ErrorText(path, file.errorString().toStdString());
      return false;
    }
    if (!writer.write(picture)) {
      strError = ErrorText(path, writer.errorString().toStdString());
      file.cancelWriting();
      return false;
    }
    if (!file.commit()) {
      strError = ErrorText(path, file.errorString().toStdString());
      return false;
    }
  }
  strError.clear();
  return true;
}
