#include "analysis/ColourTable.h"

#include <cmath>

CColourTable::CColourTable(int nPalette) : m_anColours(kSize) { Build(nPalette); }

void CColourTable::Build(int nPalette) {
  const PaletteTable& p = CPalettes::Table(nPalette);
  m_nPalette = CPalettes::Normalise(nPalette);
  for (int k = 0; k < kSize; ++k) {
    const double x = k / 257.0;
    const int i0 = static_cast<int>(std::floor(x));
    const int i1 = i0 + 1;
    const double w0 = i1 - x;
    const double w1 = x - i0;
    // The last entry sits exactly on palette entry 255, whose upper neighbour does not
    // exist; its weight there is 0.
    const SPaletteColour& c0 = p[static_cast<std::size_t>(i0)];
    const SPaletteColour& c1 = p[static_cast<std::size_t>(i1 < 256 ? i1 : 255)];
    auto mix = [w0, w1](std::uint8_t v0, std::uint8_t v1) {
      return static_cast<std::uint8_t>(std::floor(v0 * w0 + v1 * w1));
    };
    m_anColours[static_cast<std::size_t>(k)] = Argb(mix(c0.r, c1.r), mix(c0.g, c1.g), mix(c0.b, c1.b));
  }
  const SPaletteColour& overlay = p[128];
  m_nOverlayColour = Argb(overlay.r, overlay.g, overlay.b);
}
