#pragma once
// CPictureClick: where a point of the analysis picture lands. CAnalysisSession::Click()
// fills it from a pixel; the player plays from it (frequency, file and byte offset) and a
// view shows its figures (frequency, time, level).

#include <cstdint>
#include <string>

struct CPictureClick {
  // The picture as the player reads it: centre and span of the analysed band, the point
  // within the drawn picture, and the recording times of its top and bottom rows (seconds
  // from the recording's start; the click's time is counted down from the top).
  double m_dCentreHz = 0.0;
  double m_dSpanHz = 0.0;
  int m_nX = 0;
  int m_nWidth = 0;
  int m_nY = 0;  // rows from the top of the picture
  int m_nHeight = 0;
  double m_tTop = 0.0;
  double m_tBottom = 0.0;

  // What the point shows (filled by CAnalysisSession::Click).
  bool m_bInside = false;          // within the drawn picture
  int m_nColumn = -1;              // pixel column
  int m_nRow = -1;                 // picture row (0 = the first row of the run, the bottom line)
  double m_dFrequencyHz = 0.0;     // centre - span/2 + x / width * span
  double m_tTime = 0.0;            // UTC seconds since 1970 of the row
  bool m_bHasLevel = false;        // the row exists and holds the column
  float m_fLevel = 0.0f;           // dB, the row's value at the column
  std::string m_strFile;           // the recording file that holds the row's time
  std::uint32_t m_nFileOffset = 0; // and the byte offset in its data
};
