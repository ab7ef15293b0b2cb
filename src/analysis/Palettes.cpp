#include "analysis/Palettes.h"

#include <cctype>
#include <cmath>
#include <initializer_list>

namespace {

// A palette channel is given by anchor points (index, value); the entries between two
// anchors lie on the straight line between them, rounded to the nearest integer. The
// entries that identify each palette (every 32nd and the last four) are anchors, so those
// are exact; the others give the shape.
struct SAnchor {
  int index;
  int value;
};

using Channel = std::initializer_list<SAnchor>;

PaletteTable MakeTable(Channel red, Channel green, Channel blue) {
  PaletteTable table{};
  auto fill = [&table](Channel anchors, std::uint8_t SPaletteColour::*component) {
    const SAnchor* prev = anchors.begin();
    for (const SAnchor* next = prev + 1; next != anchors.end(); prev = next, ++next) {
      const int span = next->index - prev->index;
      for (int i = prev->index; i <= next->index; ++i) {
        const double v = prev->value + double(next->value - prev->value) * (i - prev->index) / span;
        table[static_cast<std::size_t>(i)].*component = static_cast<std::uint8_t>(std::floor(v + 0.5));
      }
    }
  };
  fill(red, &SPaletteColour::r);
  fill(green, &SPaletteColour::g);
  fill(blue, &SPaletteColour::b);
  return table;
}

const std::array<PaletteTable, CPalettes::kCount>& AllTables() {
  static const std::array<PaletteTable, CPalettes::kCount> tables = [] {
    std::array<PaletteTable, CPalettes::kCount> t{};
    // A grey ramp, steep in the weak half and flat in the strong half.
    const Channel grey = {{0, 1},     {32, 41},   {64, 99},   {96, 161},  {128, 199}, {160, 213},
                          {192, 227}, {224, 241}, {252, 254}, {253, 254}, {254, 255}, {255, 255}};
    t[CPalettes::ePaletteBlackAndWhite] = MakeTable(grey, grey, grey);

    // Dark blue -> light blue -> white (about 192..230) -> yellow; blue falls by 11 per
    // step over the last 24 entries.
    t[CPalettes::ePaletteBlueAndWhite] = MakeTable(
        {{0, 1}, {32, 37}, {64, 73}, {96, 109}, {128, 166}, {160, 222}, {192, 255}, {255, 255}},
        {{0, 1}, {32, 49}, {64, 98}, {96, 146}, {128, 189}, {160, 230}, {192, 255}, {255, 255}},
        {{0, 34}, {32, 107}, {64, 179}, {96, 252}, {128, 255}, {230, 255}, {231, 253}, {254, 0}, {255, 0}});

    // Dark green -> light green -> white -> yellow.
    t[CPalettes::ePaletteMotherNature] = MakeTable(
        {{0, 0}, {64, 0}, {96, 71}, {128, 159}, {160, 246}, {192, 255}, {255, 255}},
        {{0, 1}, {32, 58}, {64, 114}, {96, 162}, {128, 206}, {160, 250}, {192, 255}, {255, 255}},
        {{0, 0}, {64, 0}, {96, 71}, {128, 159}, {160, 246}, {192, 255}, {208, 255}, {224, 166},
         {252, 11}, {253, 5}, {254, 0}, {255, 0}});

    // Black -> red -> orange -> yellow -> near-white at 252, then three marker colours:
    // 253 pure red, 254 pure yellow, 255 pure green. This palette's table has always been
    // read in the opposite order to the others, which put those markers at the strong
    // end; pictures made with it are recognised by them, so they stay.
    t[CPalettes::ePaletteRadarGlow] = MakeTable(
        {{0, 0}, {32, 96}, {64, 191}, {85, 255}, {254, 255}, {255, 0}},
        {{0, 0}, {85, 0}, {96, 32}, {128, 129}, {160, 225}, {170, 255}, {252, 255}, {253, 0}, {254, 255},
         {255, 255}},
        {{0, 0}, {170, 0}, {192, 65}, {224, 162}, {252, 245}, {253, 0}, {255, 0}});

    // Black -> blue -> cyan -> green -> yellow -> orange -> red -> magenta-red.
    t[CPalettes::ePaletteSpectraVue] = MakeTable(
        {{0, 0}, {118, 0}, {128, 61}, {160, 255}, {255, 255}},
        {{0, 0}, {32, 0}, {64, 124}, {96, 255}, {128, 255}, {160, 231}, {192, 99}, {216, 0}, {255, 0}},
        {{0, 0}, {32, 189}, {43, 255}, {84, 255}, {96, 184}, {128, 0}, {217, 0}, {224, 23}, {252, 117},
         {253, 121}, {254, 124}, {255, 128}});
    return t;
  }();
  return tables;
}

const char* const kNames[CPalettes::kCount] = {"Black and White", "Blue and White", "Mother Nature",
                                               "Radar Glow", "SpectraVue"};

std::string Squeeze(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c != ' ' && c != '-' && c != '_') out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return out;
}

}  // namespace

CPalettes::EPalette CPalettes::Normalise(int nPalette) {
  return (nPalette >= 0 && nPalette < kCount) ? static_cast<EPalette>(nPalette) : ePaletteSpectraVue;
}

const PaletteTable& CPalettes::Table(int nPalette) { return AllTables()[Normalise(nPalette)]; }

const char* CPalettes::Name(int nPalette) { return kNames[Normalise(nPalette)]; }

int CPalettes::FromText(const std::string& text) {
  if (text.size() == 1 && text[0] >= '0' && text[0] < '0' + kCount) return text[0] - '0';
  const std::string wanted = Squeeze(text);
  for (int i = 0; i < kCount; ++i) {
    if (!wanted.empty() && wanted == Squeeze(kNames[i])) return i;
  }
  return -1;
}
