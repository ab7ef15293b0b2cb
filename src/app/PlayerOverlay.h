#pragma once
// CPlayerOverlay: the player drawn over the analysis picture: the tuned pass band as a band
// down the picture with the tuned frequency as a line, the repeat range as a shaded time
// band (and a range being dragged with Shift), and the playing position as a line across
// the picture that follows the position reports. The view calls Draw with the picture's
// mapping; every place comes from the document's geometry.

#include <QPainter>

#include "render/PictureAnnotations.h"

class CAnalysisSession;
class CPlayerController;

class CPlayerOverlay {
 public:
  CPlayerOverlay(const CPlayerController& player, const CAnalysisSession& document)
      : m_player(player), m_document(document) {}

  // A time range being dragged (UTC seconds); cleared with ClearDrag.
  void SetDrag(double tFromUtc, double tToUtc);
  void ClearDrag() { m_bDragging = false; }

  void Draw(QPainter& painter, const CPictureAnnotations::SMapping& map) const;
  // The picture row (from the top) of a recording time, clamped to the picture.
  double PictureY(double tUtc) const;

 private:
  void DrawTimeBand(QPainter& painter, const CPictureAnnotations::SMapping& map, double tFrom, double tTo,
                    const QColor& fill) const;

  const CPlayerController& m_player;
  const CAnalysisSession& m_document;
  bool m_bDragging = false;
  double m_tDragFrom = 0.0;
  double m_tDragTo = 0.0;
};
