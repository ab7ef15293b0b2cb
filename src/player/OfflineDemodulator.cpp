#include "player/OfflineDemodulator.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <vector>

#include "core/Int16Samples.h"
#include "core/Log.h"
#include "core/SystemTime.h"
#include "dsp/DSPDemodMain.h"
#include "dsp/FFTWPlan.h"
#include "player/PlayerControl.h"
#include "recording/IQSeriesReader.h"
#include "recording/RiffFile.h"
#include "recording/WaveFileWriter.h"

namespace {

double ThreadCpuSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

void Configure(CDSPDemodMain& chain, const COfflineDemodSettings& settings, double dOffsetHz, int& nLow,
               int& nHigh) {
  nLow = settings.m_nFilterLow;
  nHigh = settings.m_nFilterHigh;
  if (settings.m_bDefaultPassBand) CDSPDemodMain::DefaultPassBand(settings.m_nMode, chain.CWPitch(), nLow, nHigh);
  chain.SetTuningOffset(static_cast<int>(std::lround(dOffsetHz)));
  chain.SetMode(settings.m_nMode);
  chain.SetPassBand(nLow, nHigh, settings.m_nMode, chain.IFRate());
  chain.SetNoiseSettings(settings);
}

}  // namespace

bool COfflineDemodulator::Check(const CRecordingDescription& desc, const COfflineDemodSettings& settings,
                                std::string& strError) {
  if (!CheckPlayRequest(desc, settings.m_dFrequencyHz, settings.m_dStartSeconds, strError)) return false;
  const std::uint32_t nRate = PlayRate(desc);
  if (settings.m_nMode < 0 || settings.m_nMode >= eDemodModeCount) {
    strError = StrFormat("mode %d does not exist", settings.m_nMode);
    return false;
  }
  CDSPDemodMain chain;
  chain.SetMode(settings.m_nMode);
  if (chain.MaxBlockSamples(static_cast<int>(nRate)) <= 0) {
    strError = StrFormat("a sample rate of %u Hz cannot be demodulated", nRate);
    return false;
  }
  return true;
}

bool COfflineDemodulator::Run(const CRecordingDescription& desc, const COfflineDemodSettings& settings,
                              const AudioSink& sink, COfflineDemodResult& result, std::string& strError,
                              const COfflineDemodControl& control) {
  result = COfflineDemodResult{};
  if (!Check(desc, settings, strError)) return false;
  // Offline work can afford measured plans once: the wisdom keeps them for the next run.
  const CFFTPlanningScope planning(FFT_PLAN_FAST);
  const auto wallStart = std::chrono::steady_clock::now();
  CIQSeriesReader reader;
  const auto logLine = [](const std::string& strLine) { LogLine(strLine); };
  if (!reader.Open(desc, settings.m_bSwapIQ, logLine) || !reader.SeekToTime(settings.m_dStartSeconds)) {
    strError = reader.Error();
    return false;
  }
  const std::uint32_t nRate = reader.SampleRate();
  result.m_nSampleRate = nRate;
  result.m_dOffsetHz = settings.m_dFrequencyHz - static_cast<double>(desc.m_nCenterFrequency);

  CDSPDemodMain chain;
  Configure(chain, settings, result.m_dOffsetHz, result.m_nFilterLow, result.m_nFilterHigh);
  const double dSeconds = settings.m_dSeconds < 0.0
                              ? reader.DurationSeconds() - settings.m_dStartSeconds
                              : std::min(settings.m_dSeconds, reader.DurationSeconds() - settings.m_dStartSeconds);
  std::uint64_t nLeft = static_cast<std::uint64_t>(std::max(0.0, dSeconds) * nRate);
  const std::uint64_t nTotal = nLeft;
  // Blocks as long as the chain takes whole: a recording far below 48 kHz (or below the IF
  // rate) makes more audio than the chain's buffers hold from a full 32,768-sample block.
  const int nBlock = chain.MaxBlockSamples(static_cast<int>(nRate));
  std::vector<std::complex<float>> aBlock(static_cast<std::size_t>(nBlock));
  std::vector<std::int16_t> anPcm;

  const auto emit = [&](int nCount) {
    anPcm.resize(static_cast<std::size_t>(nCount));
    for (int k = 0; k < nCount; ++k) anPcm[static_cast<std::size_t>(k)] = RoundToInt16(chain.Output()[k]);
    if (nCount > 0 && !sink(anPcm.data(), anPcm.size())) {
      strError = "the audio could not be written";
      return false;
    }
    result.m_nSamplesOut += static_cast<std::uint64_t>(nCount);
    return true;
  };
  const auto process = [&](int nCount) {
    const double dCpu0 = ThreadCpuSeconds();
    chain.ProcessBlock(aBlock.data(), nCount, static_cast<int>(nRate));
    result.m_dCpuSeconds += ThreadCpuSeconds() - dCpu0;
  };

  while (nLeft > 0) {
    if (control.m_pStop && control.m_pStop->load()) {
      result.m_bStopped = true;
      break;
    }
    const std::int64_t nGot = reader.Read(aBlock.data(), static_cast<std::size_t>(std::min<std::uint64_t>(nBlock, nLeft)));
    if (nGot < 0) {
      strError = reader.Error();
      return false;
    }
    if (nGot == 0) break;
    process(static_cast<int>(nGot));
    result.m_nSamplesIn += static_cast<std::uint64_t>(nGot);
    nLeft -= static_cast<std::uint64_t>(nGot);
    if (!emit(chain.OutputCount())) return false;
    if (control.m_progress) control.m_progress(static_cast<double>(nTotal - nLeft) / static_cast<double>(nTotal));
  }
  // The chain holds back what its filters delay; silence pushed through after the last
  // block brings it out.
  const std::uint64_t nWanted = static_cast<std::uint64_t>(
      std::llround(static_cast<double>(result.m_nSamplesIn) / nRate * CDSPDemodMain::kOutputRate));
  std::fill(aBlock.begin(), aBlock.end(), std::complex<float>{});
  for (int nFlushed = 0; result.m_nSamplesOut < nWanted && nFlushed < 4 * static_cast<int>(nRate);
       nFlushed += nBlock) {
    process(nBlock);
    if (!emit(static_cast<int>(std::min<std::uint64_t>(chain.OutputCount(), nWanted - result.m_nSamplesOut))))
      return false;
  }
  result.m_dInputSeconds = static_cast<double>(result.m_nSamplesIn) / nRate;
  result.m_dWallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
  return true;
}

bool COfflineDemodulator::RunToWav(const CRecordingDescription& desc, const COfflineDemodSettings& settings,
                                   const std::string& strOutput, COfflineDemodResult& result, std::string& strError,
                                   const COfflineDemodControl& control) {
  if (!Check(desc, settings, strError)) return false;
  const CWaveFormat format = CWaveFormat::Linear(1, 1, CDSPDemodMain::kOutputRate, 16);
  if (strOutput == "-") {
    // A stream cannot be patched afterwards: the sizes say "as much as follows".
    unsigned char fmt[16];
    format.ToBytes16(fmt);
    static constexpr char kRiff[] = "RIFF\xff\xff\xff\xffWAVEfmt \x10\x00\x00\x00";
    static constexpr char kData[] = "data\xff\xff\xff\xff";
    std::string header(kRiff, sizeof kRiff - 1);
    header.append(reinterpret_cast<const char*>(fmt), sizeof fmt);
    header.append(kData, sizeof kData - 1);
    const auto sink = [](const std::int16_t* pSamples, std::size_t nCount) {
      return std::fwrite(pSamples, sizeof(std::int16_t), nCount, stdout) == nCount;
    };
    bool bOk = std::fwrite(header.data(), 1, header.size(), stdout) == header.size();
    bOk = bOk && Run(desc, settings, sink, result, strError, control);
    if (std::fflush(stdout) != 0 || (!bOk && strError.empty()) || strError == "the audio could not be written") {
      strError = "standard output: write error";
      bOk = false;
    }
    return bOk;
  }
  CWaveFileWriter writer;
  if (const std::uint32_t nCode = writer.Create(strOutput, format)) {
    strError = writer.ErrorText().empty() ? strOutput + ": " + MmioErrorText(nCode) : writer.ErrorText();
    return false;
  }
  const auto sink = [&](const std::int16_t* pSamples, std::size_t nCount) {
    return writer.Write(pSamples, nCount * sizeof(std::int16_t));
  };
  bool bOk = Run(desc, settings, sink, result, strError, control);
  if (!bOk && strError == "the audio could not be written")
    strError = writer.ErrorText().empty() ? strOutput + ": write error" : writer.ErrorText();
  if (!bOk) {
    writer.Abandon();
    return false;
  }
  if (const std::uint32_t nCode = writer.Close()) {
    strError = writer.ErrorText().empty() ? strOutput + ": " + MmioErrorText(nCode) : writer.ErrorText();
    return false;
  }
  return true;
}
