#include "recording/DemoRecording.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <system_error>

#include "core/Int16Samples.h"
#include "core/Log.h"
#include "core/SystemTime.h"
#include "recording/DescriptionFile.h"
#include "recording/WaveFileWriter.h"

namespace {

constexpr double kTwoPi = 6.283185307179586476925286766559;
constexpr std::size_t kBlockSamples = 65'536;
constexpr std::uint32_t kBytesPerComplexSample = 4;  // 16-bit I and Q

// A sine table with linear interpolation driven by a 32-bit phase accumulator: spurs lie
// some 130 dB below the carrier, well under the 16-bit quantisation noise.
class CSineTable {
 public:
  static constexpr int kBits = 12;
  CSineTable() {
    for (std::size_t i = 0; i <= kSize; ++i)
      m_table[i] = static_cast<float>(std::sin(kTwoPi * static_cast<double>(i) / kSize));
  }
  float Sin(std::uint32_t phase) const {
    const std::uint32_t i = phase >> (32 - kBits);
    const float frac = static_cast<float>(phase & kFracMask) * kFracScale;
    return m_table[i] + (m_table[i + 1] - m_table[i]) * frac;
  }
  float Cos(std::uint32_t phase) const { return Sin(phase + 0x40000000u); }

 private:
  static constexpr std::size_t kSize = std::size_t{1} << kBits;
  static constexpr std::uint32_t kFracMask = (1u << (32 - kBits)) - 1;
  static constexpr float kFracScale = 1.0f / static_cast<float>(1u << (32 - kBits));
  std::array<float, kSize + 1> m_table{};
};

std::uint32_t PhaseIncrement(double dFreqHz) {
  const double dCycles = dFreqHz / kDemoSampleRateHz;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(std::llround(dCycles * 4294967296.0)));
}

float Amplitude(double dLevelDb) { return static_cast<float>(std::pow(10.0, dLevelDb / 20.0)); }

// The on/off pattern of a Morse text in dot units (dot 1, dash 3, gaps 1, 3 and 7).
std::vector<bool> MorsePattern(const char* pszText) {
  static const char* const kLetters[26] = {".-",   "-...", "-.-.", "-..",  ".",   "..-.", "--.",  "....", "..",
                                           ".---", "-.-",  ".-..", "--",   "-.",  "---",  ".--.", "--.-", ".-.",
                                           "...",  "-",    "..-",  "...-", ".--", "-..-", "-.--", "--.."};
  std::vector<bool> units;
  for (const char* p = pszText; *p; ++p) {
    if (*p == ' ') {
      units.insert(units.end(), 4, false);  // with the 3 after the letter: a 7-unit word gap
      continue;
    }
    if (*p < 'A' || *p > 'Z') continue;
    for (const char* s = kLetters[*p - 'A']; *s; ++s) {
      units.insert(units.end(), *s == '-' ? 3 : 1, true);
      units.push_back(false);
    }
    units.insert(units.end(), 2, false);
  }
  return units;
}

// xorshift64*: fast, and the same sequence on every machine.
class CRandom {
 public:
  std::uint32_t Next() {
    m_state ^= m_state >> 12;
    m_state ^= m_state << 25;
    m_state ^= m_state >> 27;
    return static_cast<std::uint32_t>((m_state * 0x2545F4914F6CDD1DULL) >> 32);
  }

 private:
  std::uint64_t m_state = 0x5645584C4F520001ULL;
};

class CDemoGenerator {
 public:
  CDemoGenerator()
      : m_morse(MorsePattern("VVV DE VEXLOR ")),
        m_amCarrier(PhaseIncrement(kDemoSignals[0].nOffsetHz)),
        m_nfmCarrier(PhaseIncrement(kDemoSignals[1].nOffsetHz)),
        m_cwCarrier(PhaseIncrement(kDemoSignals[2].nOffsetHz)),
        m_tone1k(PhaseIncrement(1000.0)),
        m_tone400(PhaseIncrement(400.0)),
        m_nfmDeviation(5000.0 / kDemoSampleRateHz * 4294967296.0),
        m_usbTones{PhaseIncrement(kDemoSignals[3].nOffsetHz + 500.0), PhaseIncrement(kDemoSignals[3].nOffsetHz + 1200.0),
                   PhaseIncrement(kDemoSignals[3].nOffsetHz + 1900.0)},
        m_fAm(Amplitude(kDemoSignals[0].dLevelDb)),
        m_fNfm(Amplitude(kDemoSignals[1].dLevelDb)),
        m_fCw(Amplitude(kDemoSignals[2].dLevelDb)),
        m_fUsb(Amplitude(kDemoSignals[3].dLevelDb)),
        m_fSweep(Amplitude(kDemoSignals[4].dLevelDb)),
        // Total power 10^(L/10) split over I and Q.
        m_fNoiseSigma(static_cast<float>(std::sqrt(std::pow(10.0, kDemoNoiseLevelDb / 10.0) / 2.0))) {}

  // Fills nSamples complex samples, I and Q interleaved, 16-bit.
  void Generate(std::int16_t* pOut, std::size_t nSamples) {
    constexpr std::uint64_t kSamplesPerUnit = kDemoSampleRateHz * 60 / 1000;  // 60 ms Morse unit
    constexpr float kEdgeStep = 1.0f / (0.005f * kDemoSampleRateHz);          // 5 ms key edges
    const std::uint64_t nSweepSamples = static_cast<std::uint64_t>(kDemoSweepPeriodSeconds * kDemoSampleRateHz);
    const double dSweepStepHz = kDemoSweepSpanHz / static_cast<double>(nSweepSamples);
    for (std::size_t k = 0; k < nSamples; ++k, ++m_nSample) {
      float i = 0.0f, q = 0.0f;

      const float fMod = 1.0f + 0.25f * m_sine.Sin(m_phase1k) + 0.25f * m_sine.Sin(m_phase400);
      i += m_fAm * fMod * m_sine.Cos(m_phaseAm);
      q += m_fAm * fMod * m_sine.Sin(m_phaseAm);
      m_phaseAm += m_amCarrier;

      i += m_fNfm * m_sine.Cos(m_phaseNfm);
      q += m_fNfm * m_sine.Sin(m_phaseNfm);
      m_phaseNfm += m_nfmCarrier + static_cast<std::uint32_t>(static_cast<std::int32_t>(
                                       std::lrint(m_nfmDeviation * m_sine.Sin(m_phase1k))));
      m_phase1k += m_tone1k;
      m_phase400 += m_tone400;

      const bool bKeyDown = m_morse[(m_nSample / kSamplesPerUnit) % m_morse.size()];
      m_fKey = bKeyDown ? std::min(1.0f, m_fKey + kEdgeStep) : std::max(0.0f, m_fKey - kEdgeStep);
      i += m_fCw * m_fKey * m_sine.Cos(m_phaseCw);
      q += m_fCw * m_fKey * m_sine.Sin(m_phaseCw);
      m_phaseCw += m_cwCarrier;

      for (int t = 0; t < 3; ++t) {
        i += m_fUsb * m_sine.Cos(m_phaseUsb[t]);
        q += m_fUsb * m_sine.Sin(m_phaseUsb[t]);
        m_phaseUsb[t] += m_usbTones[t];
      }

      const double dSweepHz = kDemoSignals[4].nOffsetHz + dSweepStepHz * static_cast<double>(m_nSample % nSweepSamples);
      i += m_fSweep * m_sine.Cos(m_phaseSweep);
      q += m_fSweep * m_sine.Sin(m_phaseSweep);
      m_phaseSweep += PhaseIncrement(dSweepHz);

      // Box-Muller: a Rayleigh radius and a uniform angle give two Gaussian values.
      const float u = (static_cast<float>(m_random.Next() >> 8) + 1.0f) * (1.0f / 16777216.0f);
      const float r = m_fNoiseSigma * std::sqrt(-2.0f * std::log(u));
      const std::uint32_t angle = m_random.Next();
      i += r * m_sine.Cos(angle);
      q += r * m_sine.Sin(angle);

      pOut[2 * k] = ToInt16(i);
      pOut[2 * k + 1] = ToInt16(q);
    }
  }

 private:
  static std::int16_t ToInt16(float v) {
    return SaturateToInt16(std::nearbyint(v * 32767.0f));
  }

  CSineTable m_sine;
  CRandom m_random;
  std::vector<bool> m_morse;
  std::uint64_t m_nSample = 0;
  const std::uint32_t m_amCarrier, m_nfmCarrier, m_cwCarrier, m_tone1k, m_tone400;
  const double m_nfmDeviation;  // phase increment per unit of the modulating tone
  const std::uint32_t m_usbTones[3];
  const float m_fAm, m_fNfm, m_fCw, m_fUsb, m_fSweep, m_fNoiseSigma;
  std::uint32_t m_phaseAm = 0, m_phaseNfm = 0, m_phaseCw = 0, m_phase1k = 0, m_phase400 = 0;
  std::uint32_t m_phaseUsb[3] = {};
  std::uint32_t m_phaseSweep = 0;
  float m_fKey = 0.0f;
};

bool WriteDescription(const std::filesystem::path& xmlPath, int n, std::uint32_t nDataBytes,
                      const CDemoOptions& options) {
  CDescriptionFields fields;
  fields.strFirstFile = DemoFileName(0);
  fields.tStartUtc = kDemoStartUtc + static_cast<std::int64_t>(n) * options.nSecondsPerFile;
  fields.nBytesPerSecond = kDemoSampleRateHz * kBytesPerComplexSample;
  fields.nSampleRate = kDemoSampleRateHz;
  fields.nCenterFrequency = kDemoCenterFreqHz;
  fields.nBitsPerSample = 16;
  fields.nDataBytes = nDataBytes;
  return CDescriptionFile::Write(xmlPath, fields);
}

}  // namespace

std::string DemoFileName(int n) { return StrFormat("%s %03d.wav", kDemoTitle, n); }

bool WriteDemoRecording(const std::filesystem::path& folder, std::vector<std::filesystem::path>& written,
                        std::string& strError, const CDemoOptions& options) {
  written.clear();
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  if (ec) {
    strError = "cannot create the folder: " + ec.message();
    return false;
  }
  const CWaveFormat fmt = CWaveFormat::Linear(1, 2, kDemoSampleRateHz, 16);

  CDemoGenerator generator;
  std::vector<std::int16_t> block(2 * kBlockSamples);
  const std::uint64_t nSamplesPerFile = static_cast<std::uint64_t>(options.nSecondsPerFile) * kDemoSampleRateHz;
  for (int n = 0; n < options.nFiles; ++n) {
    const std::filesystem::path wavPath = folder / DemoFileName(n);
    CWaveFileWriter writer;
    if (const std::uint32_t nError = writer.Create(wavPath, fmt)) {
      strError = wavPath.string() + ": " + MmioErrorText(nError);
      return false;
    }
    for (std::uint64_t nDone = 0; nDone < nSamplesPerFile;) {
      const std::size_t nCount = static_cast<std::size_t>(std::min<std::uint64_t>(kBlockSamples, nSamplesPerFile - nDone));
      generator.Generate(block.data(), nCount);
      if (!writer.Write(block.data(), nCount * kBytesPerComplexSample)) {
        strError = wavPath.string() + ": " + MmioErrorText(MMIOERR_CANNOTWRITE);
        return false;
      }
      nDone += nCount;
    }
    const std::uint32_t nDataBytes = static_cast<std::uint32_t>(writer.DataBytes());
    if (const std::uint32_t nError = writer.Close()) {
      strError = wavPath.string() + ": " + MmioErrorText(nError);
      return false;
    }
    written.push_back(wavPath);
    std::filesystem::path xmlPath = wavPath;
    xmlPath.replace_extension(".xml");
    if (!WriteDescription(xmlPath, n, nDataBytes, options)) {
      strError = xmlPath.string() + ": the description could not be written";
      return false;
    }
    written.push_back(xmlPath);
  }
  return true;
}
