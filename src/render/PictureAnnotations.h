#pragma once
// CPictureAnnotations: what is drawn around and over the analysis picture so that a reader
// can take figures from it: the frequency scale, the time labels (with the date where it
// changes and the time zone), the colour bar with its dB scale, the grid, the tags and a
// title line. The GUI's view draws them around the part of the picture in view (scrolled
// and zoomed); the image files of "Save image to file..." and vexlor-cli draw them around
// the whole picture. Qt Gui only.

#include <QColor>
#include <QRectF>
#include <QString>

class CAnalysisSession;
class QPainter;

class CPictureAnnotations {
 public:
  // Where picture pixel (x, y) lands: rcPicture.left() + x * dZoom - dScrollX (and the same
  // for y); rcPicture is the area the picture is shown in (labels stay outside it).
  struct SMapping {
    QRectF rcPicture;
    double dZoom = 1.0;
    double dScrollX = 0.0;
    double dScrollY = 0.0;
    double X(double dPictureX) const { return rcPicture.left() + dPictureX * dZoom - dScrollX; }
    double Y(double dPictureY) const { return rcPicture.top() + dPictureY * dZoom - dScrollY; }
  };
  static inline const QColor kTextColour{220, 220, 220};
  static inline const QColor kBackground{32, 32, 36};
  static constexpr double kFrequencyLabelSpacing = 110.0;  // pixels between frequency ticks, at least

  // Ticks and labels above the picture, the labels' baseline at dBaselineY.
  static void DrawFrequencyScale(QPainter& painter, const CAnalysisSession& session, const SMapping& map,
                                 double dBaselineY);
  // Time labels right-aligned against the picture's left edge, "UTC" or "Local" above them.
  static void DrawTimeLabels(QPainter& painter, const CAnalysisSession& session, const SMapping& map);
  // The colour table from the weakest colour (bottom) to the strongest (top), with dB labels
  // on its right.
  static void DrawColourBar(QPainter& painter, const CAnalysisSession& session, const QRectF& rcBar);
  static void DrawGrid(QPainter& painter, const CAnalysisSession& session, const SMapping& map);
  // Each tag as a labelled rectangle in the palette's overlay colour.
  static void DrawTags(QPainter& painter, const CAnalysisSession& session, const SMapping& map);
  // "Centre ..., span ..., RBW ..., <start> to <end> UTC": what the picture shows.
  static QString TitleText(const CAnalysisSession& session);
};
