#pragma once
// The five palettes of the analysis picture and the player's waterfall.
//
// Each palette is 256 opaque colours, index 0 for the weakest level and 255 for the
// strongest. The value of `CVexlorApp::m_ePalette` selects one: 0 "Black and White",
// 1 "Blue and White", 2 "Mother Nature", 3 "Radar Glow", 4 (and any other value) "SpectraVue".

#include <array>
#include <cstdint>
#include <string>

struct SPaletteColour {
  std::uint8_t r = 0;
  std::uint8_t g = 0;
  std::uint8_t b = 0;
  bool operator==(const SPaletteColour&) const = default;
};

using PaletteTable = std::array<SPaletteColour, 256>;

class CPalettes {
 public:
  enum EPalette : int {
    ePaletteBlackAndWhite = 0,
    ePaletteBlueAndWhite = 1,
    ePaletteMotherNature = 2,
    ePaletteRadarGlow = 3,
    ePaletteSpectraVue = 4,
  };
  static constexpr int kCount = 5;
  static constexpr int kDefault = ePaletteSpectraVue;

  // Values outside 0..4 select "SpectraVue", as a stored setting from elsewhere may hold any number.
  static EPalette Normalise(int nPalette);
  static const PaletteTable& Table(int nPalette);
  static const char* Name(int nPalette);
  // A palette number from its number text ("0".."4") or its name in any case, with or
  // without blanks ("radar glow", "RadarGlow"); -1 when it matches none.
  static int FromText(const std::string& text);
};
