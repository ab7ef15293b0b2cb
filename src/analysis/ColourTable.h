#pragma once
// CColourTable: 65536 opaque ARGB colours spread over one palette.
//
// Entry k lies between palette entries floor(k / 257) and the next, linearly weighted, so
// a scaled level 0..65535 picks a colour with 257 steps between neighbouring palette
// entries; entry 257 * i is palette entry i exactly.

#include <cstdint>
#include <vector>

#include "analysis/Palettes.h"

class CColourTable {
 public:
  static constexpr int kSize = 65536;

  // Builds the table of palette nPalette (any value; see CPalettes::Normalise).
  explicit CColourTable(int nPalette = CPalettes::kDefault);

  // Rebuilds the table from palette nPalette.
  void Build(int nPalette);

  int Palette() const { return m_nPalette; }
  std::uint32_t operator[](int k) const { return m_anColours[static_cast<std::size_t>(k)]; }
  const std::uint32_t* Data() const { return m_anColours.data(); }
  // The palette's colour at index 128 as ARGB: the drawing colour of overlays on the picture.
  std::uint32_t OverlayColour() const { return m_nOverlayColour; }

  static constexpr std::uint32_t Argb(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    return 0xFF000000u | (std::uint32_t{r} << 16) | (std::uint32_t{g} << 8) | b;
  }

 private:
  int m_nPalette = -1;
  std::vector<std::uint32_t> m_anColours;
  std::uint32_t m_nOverlayColour = 0;
};
