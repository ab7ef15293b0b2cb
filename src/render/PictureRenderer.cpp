#include "render/PictureRenderer.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
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

#include <QBuffer>

#include "analysis/AnalysisSession.h"
#include "render/PictureAnnotations.h"
#include "core/AtomicFile.h"
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

// Text needs Qt's font database, which only a QGuiApplication provides. The command-line
// tool runs without one (and often without a display), so one is made on the offscreen
// platform at the first drawing and kept until the process exits: Qt cannot make a second
// one after the first is gone. The arguments must outlive it.
QGuiApplication* g_pTextApplication = nullptr;

void EnsureTextApplication() {
  if (g_pTextApplication || QCoreApplication::instance()) return;
  qInstallMessageHandler(LogQtMessage);
  static char szName[] = "vexlor-cli";
  static char szPlatformOption[] = "-platform";
  static char szPlatform[] = "offscreen";
  static char* argv[] = {szName, szPlatformOption, szPlatform, nullptr};
  static int argc = 3;
  g_pTextApplication = new QGuiApplication(argc, argv);
  // Freed before Qt's own statics go, so that its font database lets go of fontconfig.
  std::atexit([] {
    delete g_pTextApplication;
    g_pTextApplication = nullptr;
  });
}

int AppendToByteArray(GifFileType* pGif, const GifByteType* pData, int nBytes) {
  static_cast<QByteArray*>(pGif->UserData)->append(reinterpret_cast<const char*>(pData), nBytes);
  return nBytes;
}

// Colours reduced to 256 and encoded through giflib into bytes.
bool EncodeGif(const QImage& image, QByteArray& bytes, std::string& strReason) {
  const QImage indexed = image.convertToFormat(QImage::Format_Indexed8, Qt::ThresholdDither | Qt::AvoidDither);
  int nError = 0;
  GifFileType* pGif = EGifOpen(&bytes, AppendToByteArray, &nError);
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
  EnsureTextApplication();
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
  // Encoded in memory, then written atomically: a failed save leaves the old file whole.
  QByteArray bytes;
  std::string strReason;
  if (IsGif(format)) {
    if (!EncodeGif(picture, bytes, strReason)) {
      strError = ErrorText(path, strReason);
      return false;
    }
  } else {
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    if (!writer.write(picture)) {
      strError = ErrorText(path, writer.errorString().toStdString());
      return false;
    }
  }
  CAtomicFile file;
  if (!file.Open(path) || !file.Write(bytes.constData(), static_cast<std::size_t>(bytes.size())) || !file.Commit()) {
    strError = ErrorText(path, file.ErrorText());
    return false;
  }
  strError.clear();
  return true;
}
