#pragma once
// Helpers of the analysis engine tests: synthetic IQ recordings, a headless run that
// collects its rows, and an independent computation of a row's levels (conversion as the
// engine documents it, window, a plain double-precision DFT, levels).

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

#include "analysis/AnalysisOptions.h"
#include "analysis/AnalysisRecords.h"
#include "analysis/AnalysisRunInterfaces.h"
#include "analysis/AnalysisWindow.h"
#include "analysis/HeadlessAnalysis.h"
#include "persist/MySettingsStore.h"
#include "recording/WaveFileWriter.h"

namespace enginetest {

// Raw IQ bytes in a WAV file's layout.
struct CRawIQ {
  std::uint16_t nFormatTag = 1;
  std::uint16_t nBits = 16;
  std::string bytes;

  std::uint32_t BytesPerSample() const { return nBits / 8u * 2u; }
  std::size_t Samples() const { return bytes.size() / BytesPerSample(); }

  void Append(double i, double q) {
    for (double v : {i, q}) {
      if (nFormatTag == 3) {
        const float f = static_cast<float>(v);
        bytes.append(reinterpret_cast<const char*>(&f), 4);
      } else {
        const auto n = static_cast<std::int32_t>(std::lround(v));
        const char b[4] = {static_cast<char>(n), static_cast<char>(n >> 8), static_cast<char>(n >> 16),
                           static_cast<char>(n >> 24)};
        bytes.append(b, nBits / 8u);
      }
    }
  }
  // The value of value index v (I and Q counted separately), as a double.
  double Value(std::size_t v) const {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes.data()) + v * (nBits / 8u);
    if (nFormatTag == 3) {
      float f;
      std::memcpy(&f, p, 4);
      return f;
    }
    if (nBits == 16) return static_cast<std::int16_t>(p[0] | p[1] << 8);
    const std::int32_t x = static_cast<std::int32_t>(std::uint32_t{p[0]} << 8 | std::uint32_t{p[1]} << 16 |
                                                     std::uint32_t{p[2]} << 24) >> 8;
    return x;
  }
};

// A complex tone of amplitude dAmplitude (per component) at frequency bin dBin of an
// nFFTSize-point FFT, nSamples long.
inline CRawIQ Tone(std::uint16_t nFormatTag, std::uint16_t nBits, double dAmplitude, double dBin,
                   std::uint32_t nFFTSize, std::size_t nSamples) {
  CRawIQ raw{nFormatTag, nBits, {}};
  for (std::size_t n = 0; n < nSamples; ++n) {
    const double ph = 2.0 * std::numbers::pi * dBin * static_cast<double>(n) / nFFTSize;
    raw.Append(dAmplitude * std::cos(ph), dAmplitude * std::sin(ph));
  }
  return raw;
}

// Deterministic pseudo-random samples (a linear congruential sequence), amplitude up to dAmplitude.
inline CRawIQ Noise(std::uint16_t nBits, double dAmplitude, std::size_t nSamples, std::uint32_t nSeed = 1) {
  CRawIQ raw{1, nBits, {}};
  std::uint32_t s = nSeed;
  auto next = [&s, dAmplitude] {
    s = s * 1664525u + 1013904223u;
    return (static_cast<double>(s >> 8) / 8388608.0 - 1.0) * dAmplitude;
  };
  for (std::size_t n = 0; n < nSamples; ++n) {
    const double i = next();
    raw.Append(i, next());
  }
  return raw;
}

inline std::filesystem::path WriteWav(const std::filesystem::path& path, const CRawIQ& raw, std::uint32_t nRate,
                                      std::size_t nFirstByte = 0, std::size_t nBytes = std::string::npos) {
  const CWaveFormat fmt = CWaveFormat::Linear(raw.nFormatTag, 2, nRate, raw.nBits);
  CWaveFileWriter writer;
  writer.Create(path, fmt);
  const std::string part = raw.bytes.substr(nFirstByte, nBytes);
  writer.Write(part.data(), part.size());
  writer.Close();
  return path;
}

// Options for a recording made of files (each with its data size) at nRate, whole range.
inline CAnalysisOptions MakeOptions(const std::vector<std::filesystem::path>& files,
                                    const std::vector<std::uint32_t>& sizes, std::uint32_t nRate,
                                    std::uint16_t nBits, std::uint32_t nFFTSize, std::uint32_t nWindow,
                                    std::uint32_t nOverlap = 0) {
  CAnalysisOptions o;
  for (const auto& f : files) o.m_astrRecordingFilenames.push_back(f.string());
  o.m_anRecordingFileSizes = sizes;
  o.m_nRecordingBandwidth = nRate;
  o.m_nRecordingBitsPerSample = nBits;
  o.m_nRecordingCenterFreq = 10'000'000;
  std::uint64_t nTotal = 0;
  for (auto s : sizes) nTotal += s;
  const std::uint32_t nBytesPerSecond = nRate * nBits / 8u * 2u;
  o.m_tRecordingStartUTC = 1'700'000'000;
  o.m_tRecordingEndUTC = o.m_tRecordingStartUTC + static_cast<std::int64_t>(nTotal / nBytesPerSecond);
  o.m_nAnalysisFFTSize = nFFTSize;
  o.m_nAnalysisOverlap = nOverlap;
  o.m_eAnalysisWindow = nWindow;
  o.m_nAnalysisCenterFreq = o.m_nRecordingCenterFreq;
  o.m_nAnalysisBandwidth = nRate;
  o.m_nFFTHint = FFT_HINT_FAST;
  o.UpdateDerivedValues(nBytesPerSecond);
  return o;
}

// Collects every row's levels in the order the controller hands them over.
class CRowCollector final : public IAnalysisRowConsumer {
 public:
  void ResetForRun(const CAnalysisOptions&) override {
    rows.clear();
    indices.clear();
    ++resets;
  }
  void AddRow(std::uint32_t nRow, const CRowRecord& record) override {
    indices.push_back(nRow);
    rows.emplace_back(record.Levels(), record.Levels() + record.FFTSize());
    for (std::uint32_t i = 0; i < CRowRecord::kHeaderFloats; ++i) headerNonZero |= record.Values()[i] != 0.0f;
  }
  void CompleteRun() override { ++completions; }

  std::vector<std::vector<float>> rows;
  std::vector<std::uint32_t> indices;
  int resets = 0;
  int completions = 0;
  bool headerNonZero = false;
};

// A headless engine with its own settings file, nWorkers FFT workers. They run at normal
// priority: at idle priority a busy test machine could starve them for minutes.
struct CEngine {
  explicit CEngine(const std::filesystem::path& settingsFile, int nWorkers = 1)
      : settings(settingsFile), analysis(settings, nWorkers, THREAD_PRIORITY_NORMAL) {
    analysis.Run().SetRowConsumer(&rows);
  }
  bool Run(const CAnalysisOptions& options) {
    if (!analysis.Run().Start(options)) return false;
    analysis.PumpUntilFinished();
    return true;
  }
  CMySettingsStore settings;
  CHeadlessAnalysis analysis;
  CRowCollector rows;
};

// The engine's documented reading of one FFT block into complex values: the conversion is
// split in two parts and part t's source starts at value index s = t·N/2 (one value per
// complex sample, not two), so the second half holds samples N/4 .. 3N/4 − 1.
inline std::vector<std::complex<double>> ConvertAsDocumented(const CRawIQ& raw, std::size_t nFirstSample,
                                                             std::uint32_t n, bool bSwapIQ) {
  std::vector<std::complex<double>> x(n);
  const std::size_t nBase = 2 * nFirstSample;  // value index of the block's start
  for (std::size_t s = 0; s < n; ++s) {
    const std::size_t nPartStart = s < n / 2 ? 0 : n / 2;
    const std::size_t v = nBase + nPartStart + 2 * (s - nPartStart);
    double i = raw.Value(v), q = raw.Value(v + 1);
    if (raw.nBits == 24) {
      i *= 256.0;
      q *= 256.0;
    }
    x[s] = bSwapIQ ? std::complex<double>(q, i) : std::complex<double>(i, q);
  }
  return x;
}

// Levels of one FFT block computed independently: double-precision DFT (direct sum),
// 20·log10(max(|X|, 1e-5)) − 20·log10(N·32767·0.5), lowest frequency first.
inline std::vector<double> ReferenceLevels(const CRawIQ& raw, std::size_t nFirstSample, std::uint32_t n,
                                           std::uint32_t nWindow, bool bSwapIQ = false) {
  std::vector<std::complex<double>> x = ConvertAsDocumented(raw, nFirstSample, n, bSwapIQ);
  if (nWindow != ANALYSIS_WINDOW_NONE) {
    for (std::size_t i = 0; i < n; ++i) {
      const double m = n - 1.0;
      double w = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * i / m);  // Hann, the default
      if (nWindow == ANALYSIS_WINDOW_HAMMING) w = 0.54 - 0.46 * std::cos(2.0 * std::numbers::pi * i / m);
      x[i] *= w;
    }
  }
  const double ref = 20.0 * std::log10(n * 32767.0 * 0.5);
  std::vector<double> levels(n);
  for (std::size_t k = 0; k < n; ++k) {
    std::complex<double> sum = 0;
    for (std::size_t t = 0; t < n; ++t)
      sum += x[t] * std::polar(1.0, -2.0 * std::numbers::pi * static_cast<double>((k * t) % n) / n);
    levels[(k + n / 2) % n] = 20.0 * std::log10(std::max(std::abs(sum), 1e-5)) - ref;
  }
  return levels;
}

}  // namespace enginetest
