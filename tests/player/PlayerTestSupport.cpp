#include "PlayerTestSupport.h"

#include <cmath>

#include "core/Log.h"
#include "recording/WaveFileWriter.h"

CRecordingDescription WriteToneSeries(const std::filesystem::path& folder, const std::string& strStem, int nFiles,
                                      double dSecondsPerFile, std::uint32_t nRateHz, int nBits, double dToneHz,
                                      double dAmplitude, bool bCarrier) {
  CRecordingDescription desc;
  const unsigned nBytes = static_cast<unsigned>(nBits / 8);
  const CWaveFormat fmt = CWaveFormat::Linear(1, 2, nRateHz, static_cast<std::uint16_t>(nBits));
  const double dScale = dAmplitude * 32767.0;
  const double dCarrier = bCarrier ? dScale : 0.0;
  const std::int32_t nWiden = nBits == 24 ? 256 : 1;
  const auto nPerFile = static_cast<std::uint64_t>(dSecondsPerFile * nRateHz);
  std::uint64_t n = 0;
  for (int f = 0; f < nFiles; ++f) {
    const std::filesystem::path path = folder / StrFormat("%s %03d.wav", strStem.c_str(), f);
    std::string bytes;
    bytes.reserve(nPerFile * fmt.nBlockAlign);
    for (std::uint64_t i = 0; i < nPerFile; ++i, ++n) {
      const double dPhase = 2.0 * M_PI * dToneHz * static_cast<double>(n) / nRateHz;
      for (double v : {std::cos(dPhase) * dScale + dCarrier, std::sin(dPhase) * dScale}) {
        const auto s = static_cast<std::int32_t>(std::lround(v)) * nWiden;
        for (unsigned b = 0; b < nBytes; ++b) bytes.push_back(static_cast<char>((s >> (8 * b)) & 0xFF));
      }
    }
    CWaveFileWriter writer;
    writer.Create(path, fmt);
    writer.Write(bytes.data(), bytes.size());
    writer.Close();
    desc.m_astrFileNames.push_back(path.string());
    desc.m_anFileSizes.push_back(static_cast<std::uint32_t>(bytes.size()));
    desc.m_anFileStartTimes.push_back(0);
    desc.AddToTotal(static_cast<std::uint32_t>(bytes.size()));
  }
  desc.m_strSource = "Brannock";
  desc.m_nFiles = static_cast<std::uint32_t>(nFiles);
  desc.m_nSampleRate = nRateHz;
  desc.m_nFmtSampleRate = nRateHz;
  desc.m_nBitsPerSample = static_cast<std::uint32_t>(nBits);
  desc.m_nBytesPerSecond = fmt.nAvgBytesPerSec;
  desc.m_nCenterFrequency = 7'000'000;
  desc.m_dDuration = dSecondsPerFile * nFiles;
  desc.m_tEnd = static_cast<std::int64_t>(desc.m_dDuration);
  desc.m_bValid = true;
  return desc;
}

CPictureClick ClickAtPlusOneKilohertzTwoAndAHalfSeconds(const CRecordingDescription& desc) {
  CPictureClick click;
  click.m_dCentreHz = desc.m_nCenterFrequency;
  click.m_dSpanHz = 48000;
  click.m_nWidth = 480;
  click.m_nX = 250;
  click.m_nHeight = 300;
  click.m_tTop = 3.0;
  click.m_tBottom = 0.0;
  click.m_nY = 50;
  return click;
}
