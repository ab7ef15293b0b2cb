#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "analysis/ColourTable.h"
#include "analysis/Palettes.h"

namespace {

std::string Hex(const SPaletteColour& c) {
  char text[8];
  std::snprintf(text, sizeof text, "%02X%02X%02X", c.r, c.g, c.b);
  return text;
}

}  // namespace

// Catches any drift in the palettes' documented entries (pictures are compared by eye
// with those of earlier versions, and Radar Glow's three marker colours must stay).
TEST(Palettes, EveryDocumentedEntryIsExact) {
  const int indices[] = {0, 32, 64, 96, 128, 160, 192, 224, 252, 253, 254, 255};
  const char* const expected[5][12] = {
      {"010101", "292929", "636363", "A1A1A1", "C7C7C7", "D5D5D5", "E3E3E3", "F1F1F1", "FEFEFE", "FEFEFE",
       "FFFFFF", "FFFFFF"},
      {"010122", "25316B", "4962B3", "6D92FC", "A6BDFF", "DEE6FF", "FFFFFF", "FFFFFF", "FFFF16", "FFFF0B",
       "FFFF00", "FFFF00"},
      {"000100", "003A00", "007200", "47A247", "9FCE9F", "F6FAF6", "FFFFFF", "FFFFA6", "FFFF0B", "FFFF05",
       "FFFF00", "FFFF00"},
      {"000000", "600000", "BF0000", "FF2000", "FF8100", "FFE100", "FFFF41", "FFFFA2", "FFFFF5", "FF0000",
       "FFFF00", "00FF00"},
      {"000000", "0000BD", "007CFF", "00FFB8", "3DFF00", "FFE700", "FF6300", "FF0017", "FF0075", "FF0079",
       "FF007C", "FF0080"}};
  for (int p = 0; p < 5; ++p) {
    for (int i = 0; i < 12; ++i) {
      EXPECT_EQ(Hex(CPalettes::Table(p)[static_cast<std::size_t>(indices[i])]), expected[p][i])
          << CPalettes::Name(p) << " index " << indices[i];
    }
  }
}

// Catches a grey ramp with unequal components or one that runs backwards (weak = bright).
TEST(Palettes, BlackAndWhiteIsAMonotonicGreyRamp) {
  const PaletteTable& t = CPalettes::Table(CPalettes::ePaletteBlackAndWhite);
  for (std::size_t i = 0; i < 256; ++i) {
    EXPECT_TRUE(t[i].r == t[i].g && t[i].g == t[i].b) << i;
    if (i > 0) {
      EXPECT_GE(t[i].r, t[i - 1].r) << i;
    }
  }
}

// Catches out-of-range palette values indexing past the tables, and names not being
// accepted on the command line.
TEST(Palettes, SelectionByValueAndName) {
  EXPECT_EQ(&CPalettes::Table(7), &CPalettes::Table(4));
  EXPECT_EQ(&CPalettes::Table(-1), &CPalettes::Table(4));
  EXPECT_STREQ(CPalettes::Name(7), "SpectraVue");
  EXPECT_EQ(CPalettes::FromText("3"), 3);
  EXPECT_EQ(CPalettes::FromText("radar glow"), 3);
  EXPECT_EQ(CPalettes::FromText("Black-and-White"), 0);
  EXPECT_EQ(CPalettes::FromText("MotherNature"), 2);
  EXPECT_EQ(CPalettes::FromText("5"), -1);
  EXPECT_EQ(CPalettes::FromText("sepia"), -1);
  EXPECT_EQ(CPalettes::FromText(""), -1);
}

// Catches a colour table that is not anchored on the palette (entry 257 i = palette i),
// that reads past entry 255 at the top, or that rounds instead of flooring in between.
TEST(ColourTable, InterpolatesBetweenPaletteEntries) {
  for (int p = 0; p < 5; ++p) {
    const CColourTable table(p);
    const PaletteTable& pal = CPalettes::Table(p);
    for (int i = 0; i < 256; ++i) {
      const SPaletteColour& c = pal[static_cast<std::size_t>(i)];
      EXPECT_EQ(table[257 * i], CColourTable::Argb(c.r, c.g, c.b)) << p << " " << i;
    }
    EXPECT_EQ(table.OverlayColour(), CColourTable::Argb(pal[128].r, pal[128].g, pal[128].b));
  }
  // Radar Glow 252 -> 253 goes from #FFFFF5 to #FF0000: a third of the way, green is
  // floor(255 * 172/257) = 170 and blue floor(245 * 172/257) = 163.
  const CColourTable radar(CPalettes::ePaletteRadarGlow);
  // (k = 257 * 252 + 85: weights 172/257 and 85/257.)
  EXPECT_EQ(radar[257 * 252 + 85], 0xFFFFAAA3u);
}
