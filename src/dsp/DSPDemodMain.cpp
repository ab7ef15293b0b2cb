#include "dsp/DSPDemodMain.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "dsp/DSPGlobalFlags.h"
#include "dsp/FFTWPlan.h"

namespace {

struct SModeEntry {
  const char* shortName;
  const char* longName;
  int ifRateHz;
  int audioRateHz;
  EPassBand passBand;
};

// "W-USB" deliberately has the symmetric pass band and the narrow sideband IF rate.
constexpr SModeEntry kModes[eDemodModeCount] = {
    {"LSB", "LSB", 8000, 8000, EPassBand::eLower},
    {"USB", "USB", 8000, 8000, EPassBand::eUpper},
    {"DSB", "DSB", 8000, 8000, EPassBand::eSymmetric},
    {"W-USB", "W-USB", 8000, 8000, EPassBand::eSymmetric},
    {"CW-L", "CW-L", 8000, 8000, EPassBand::eLower},
    {"CW-U", "CW-U", 8000, 8000, EPassBand::eUpper},
    {"AM", "AM", 22050, 22050, EPassBand::eSymmetric},
    {"NFM", "FM-Narrow (Voice)", 16000, 16000, EPassBand::eSymmetric},
    {"WFM", "FM-Wide (Data)", 48000, 48000, EPassBand::eSymmetric},
    {"BFM", "FM-Broadcast", 250000, 48000, EPassBand::eSymmetric},
    {"SAM", "Sync. AM", 22050, 22050, EPassBand::eSymmetric},
    {"ECSS", "ECSS", 22050, 22050, EPassBand::eSymmetric},
    {"ECSS-L", "ECSS-L", 22050, 22050, EPassBand::eLower},
    {"ECSS-U", "ECSS-U", 22050, 22050, EPassBand::eUpper},
    {"Data-L", "Data-L", 48000, 48000, EPassBand::eLower},
    {"Data-U", "Data-U", 48000, 48000, EPassBand::eUpper},
    {"Wide-L", "Wide-L", 48000, 48000, EPassBand::eLower},
    {"Wide-U", "Wide-U", 48000, 48000, EPassBand::eUpper},
};

bool ValidMode(int mode) { return mode >= 0 && mode < eDemodModeCount; }

constexpr int kDefaultMode = eDemodSAM;
constexpr int kLineEnhancerTaps = 499;
constexpr int kLineEnhancerDelay = 8;
constexpr double kLineEnhancerMu = 0.01;
constexpr double kLineEnhancerLeak = 0.0001;
constexpr int kFIRLMSTaps = 199;
constexpr int kResamplerLength = 512;
constexpr int kResamplerHistory = 512;
constexpr double kCWPeakRadius = 0.94;
constexpr float kBasicSquelchHysteresisDb = 6.0f;
constexpr double kBasicSquelchHangSeconds = 0.25;
// The audio filter runs at 48 kHz; edges are kept inside its band.
constexpr double kAudioFilterMaxCutoff = 0.49;

int RoundMean(double mean) { return static_cast<int>(std::lround(mean)); }

}  // namespace

const char* CDSPDemodMain::ShortName(int mode) { return ValidMode(mode) ? kModes[mode].shortName : "MODE"; }

const char* CDSPDemodMain::LongName(int mode) { return ValidMode(mode) ? kModes[mode].longName : ""; }

int CDSPDemodMain::ModeFromName(const std::string& name) {
  for (int m = 0; m < eDemodModeCount; ++m) {
    if (strcasecmp(name.c_str(), kModes[m].shortName) == 0 || strcasecmp(name.c_str(), kModes[m].longName) == 0)
      return m;
  }
  return -1;
}

void CDSPDemodMain::DefaultPassBand(int mode, int cwPitchHz, int& lowHz, int& highHz) {
  lowHz = 200;
  highHz = 3000;
  switch (mode) {
    case eDemodCWL:
    case eDemodCWU:
      lowHz = std::max(50, cwPitchHz - 250);
      highHz = cwPitchHz + 250;
      break;
    case eDemodAM:
    case eDemodSAM:
    case eDemodECSS:
    case eDemodECSSL:
    case eDemodECSSU:
      highHz = 5000;
      break;
    case eDemodNFM:
      lowHz = 0;
      highHz = 7500;  // 5 kHz deviation of voice plus its sidebands, within the 16 kHz IF
      break;
    case eDemodWFM:
      lowHz = 0;
      highHz = 20000;
      break;
    case eDemodBFM:
      lowHz = 0;
      highHz = 100000;
      break;
    case eDemodDataL:
    case eDemodDataU:
      lowHz = 100;
      highHz = 5000;
      break;
    case eDemodWideL:
    case eDemodWideU:
      lowHz = 100;
      highHz = 15000;
      break;
    default:
      break;
  }
}

int CDSPDemodMain::IFRateOf(int mode) { return ValidMode(mode) ? kModes[mode].ifRateHz : 0; }

int CDSPDemodMain::AudioRateOf(int mode) { return ValidMode(mode) ? kModes[mode].audioRateHz : 0; }

EPassBand CDSPDemodMain::PassBandOf(int mode) {
  return ValidMode(mode) ? kModes[mode].passBand : EPassBand::eSymmetric;
}

CDSPDemodMain::CDSPDemodMain() {
  m_lineEnhancer.Setup(kLineEnhancerDelay, kLineEnhancerMu, kLineEnhancerLeak, kLineEnhancerTaps);
  m_aAgcIn.Resize(kBufferSize);
  m_aAgcOut.Resize(kBufferSize);
  SetMode(kDefaultMode);
}

void CDSPDemodMain::PlanAhead(int linesPerSecond, int nHint, int onlyMode) {
  const CFFTPlanningScope scope(nHint);
  CDSPDemodMain chain;
  chain.ConfigureSpectrumTap(0, linesPerSecond > 0, linesPerSecond, 0);
  chain.ConfigureSpectrumTap(1, linesPerSecond > 0, linesPerSecond, 0);
  // Every stage plans when it is set up: the noise reductions with the chain and with a
  // mode, the sideband demodulator and the spectrum taps with a mode, the channel filter
  // with a pass band. Nothing needs to run.
  for (int mode = 0; mode < eDemodModeCount; ++mode) {
    if (onlyMode >= 0 && mode != onlyMode) continue;
    int low = 0, high = 0;
    DefaultPassBand(mode, chain.CWPitch(), low, high);
    chain.SetMode(mode);
    chain.SetPassBand(low, high, mode, chain.IFRate());
  }
}

void CDSPDemodMain::SetMode(int mode) {
  if (!ValidMode(mode)) return;
  if (mode == m_nMode && m_nIFRate > 0 && m_nAudioRate > 0) return;
  m_nMode = mode;
  m_nIFRate = kModes[mode].ifRateHz;
  m_nAudioRate = kModes[mode].audioRateHz;
  m_agc.SetRate(m_nAudioRate);
  SetPassBand(m_nFilterLow, m_nFilterHigh, mode, m_nIFRate);
  m_resampler.Init(m_nAudioRate, kOutputRate, false, kResamplerLength, kResamplerHistory);
  for (CDSPSpectrumTap& tap : m_aSpectrumTaps) tap.SetSampleRate(m_nIFRate);
  ApplySquelchSettings();
  m_demodulate.SetUp(mode, m_nIFRate);
  m_fmStartFade.Stop();
  m_bFMStartPending = IsFMMode(mode);
  // The spectral-subtraction frames follow the audio rate (the Ephraim-Malah library keeps
  // its own 8000 Hz setting).
  m_noiseReduction.RTA().Setup(m_nAudioRate);
  if (m_cwPeak.IsEnabled()) m_cwPeak.SetParameters(m_nAudioRate, m_nCWPitch, kCWPeakRadius);
}

void CDSPDemodMain::SetPassBand(int lowHz, int highHz, int mode, int ifRateHz) {
  if (ifRateHz == 0) return;
  if (lowHz == 0 && highHz == 0) return;
  if (lowHz == m_nDesignLow && highHz == m_nDesignHigh && mode == m_nDesignMode && ifRateHz == m_nDesignRate)
    return;
  m_nDesignLow = lowHz;
  m_nDesignHigh = highHz;
  m_nDesignMode = mode;
  m_nDesignRate = ifRateHz;
  m_nFilterLow = lowHz;
  m_nFilterHigh = highHz;

  const int audioTaps = g_bDSPReducedLoad.load(std::memory_order_relaxed) ? 99 : 199;
  const double lo = lowHz;
  const double hi = highHz;
  const double rate = ifRateHz;
  const double audioHigh = std::min(hi / kOutputRate, kAudioFilterMaxCutoff);
  switch (PassBandOf(mode)) {
    case EPassBand::eLower:
      m_channelFilter.Design(-hi, -lo, 0.0, rate);
      m_audioFilter.DesignBandPass(lo / kOutputRate, audioHigh, audioTaps);
      break;
    case EPassBand::eUpper:
      m_channelFilter.Design(lo, hi, 0.0, rate);
      m_audioFilter.DesignBandPass(lo / kOutputRate, audioHigh, audioTaps);
      break;
    case EPassBand::eSymmetric:
      m_channelFilter.Design(-hi, hi, 0.0, rate);
      m_audioFilter.DesignBandPass(0.0, audioHigh, audioTaps);
      break;
  }
  m_bAudioFilterEnabled = true;
  ++m_nPassBandDesigns;
}

void CDSPDemodMain::SetCWPitch(int pitchHz) {
  if (pitchHz <= 0) return;
  m_nCWPitch = pitchHz;
  if (m_cwPeak.IsEnabled()) m_cwPeak.SetParameters(m_nAudioRate, m_nCWPitch, kCWPeakRadius);
}

void CDSPDemodMain::SetSquelch(bool enabled, int level, bool automatic, bool trigger) {
  m_bSquelchEnabled = enabled;
  m_nSquelchLevel = std::clamp(level, 0, 100);
  m_bSquelchAutomatic = automatic;
  m_bSquelchTrigger = trigger;
  ApplySquelchSettings();
}

void CDSPDemodMain::ApplySquelchSettings() {
  // The FM squelch filters the demodulated audio, so its noise band is designed at the audio
  // rate: at broadcast FM's 250 kHz IF rate it would land in the programme near 400 Hz.
  m_fmSquelch.Setup(m_bSquelchEnabled, m_nSquelchLevel, m_nAudioRate, m_bSquelchAutomatic, m_bSquelchTrigger);
  m_otherSquelch.Setup(m_bSquelchEnabled, m_nSquelchLevel, m_nIFRate);
  // The basic squelch's hang counts IF samples, so it follows the IF rate of the mode.
  const float open = static_cast<float>(m_nSquelchLevel);
  m_basicSquelch.Setup(m_bSquelchEnabled, open, open - kBasicSquelchHysteresisDb,
                       static_cast<int>(m_nIFRate * kBasicSquelchHangSeconds));
}

int CDSPDemodMain::MaxBlockSamples(int inRateHz) const {
  if (inRateHz <= 0 || m_nIFRate <= 0 || m_nAudioRate <= 0) return 0;
  const double ifPerInput = static_cast<double>(m_nIFRate) / inRateHz;
  // What may come on top of a block's own share: the down-converter's queue (under 2048
  // samples, at most as many IF samples) and its rounding, and the sideband demodulator's
  // partly filled FFT buffer (under 4096 samples).
  constexpr double kIFMargin = 2048.0 + 16.0;
  constexpr double kAudioMargin = 4096.0;
  // The IF buffer.
  double limit = (kBufferSize - kIFMargin) / ifPerInput;
  // The output buffer: at most one audio sample per IF sample, each turned into
  // 48,000 / audio rate output samples (plus the resampler's rounding).
  const double outputPerAudio = static_cast<double>(kOutputRate) / m_nAudioRate + 1.0 / 16384.0;
  const double audioRoom = (kBufferSize - 3) / outputPerAudio;
  limit = std::min(limit, (audioRoom - kIFMargin - kAudioMargin) / ifPerInput);
  // The scratch buffer of the up-sampled input.
  if (inRateHz < m_nIFRate) limit = std::min(limit, static_cast<double>(kBufferSize / UpsampleFactor(inRateHz)));
  return std::clamp(static_cast<int>(limit), 0, kBufferSize / 2);
}

void CDSPDemodMain::SetNoiseReduction(int method) {
  if (method >= 0 && method <= 3) m_nNoiseReduction = method;
}

void CDSPDemodMain::SetNoiseBlanker(bool enabled, double thresholdLevel, double blankTimeUs) {
  m_bNoiseBlanker = enabled;
  if (thresholdLevel > 0.0) m_dBlankerLevel = thresholdLevel;
  if (blankTimeUs > 0.0) m_dBlankerTimeUs = blankTimeUs;
  m_noiseBlanker.SetEnabled(enabled);
}

void CDSPDemodMain::SetNoiseSettings(const CDemodNoiseSettings& settings) {
  SetNoiseReduction(settings.m_nNoiseReduction);
  SetNoiseBlanker(settings.m_bNoiseBlanker);
  SetSquelch(settings.m_nSquelch >= 0, settings.m_nSquelch >= 0 ? settings.m_nSquelch : m_nSquelchLevel,
             m_bSquelchAutomatic, m_bSquelchTrigger);
}

void CDSPDemodMain::SetLineEnhancer(bool enabled, int outputSelection) {
  m_lineEnhancer.SetEnabled(enabled);
  m_lineEnhancer.SetOutputSelection(outputSelection);
}

void CDSPDemodMain::SetCWPeakFilter(bool enabled) {
  if (enabled) m_cwPeak.SetParameters(m_nAudioRate, m_nCWPitch, kCWPeakRadius);
  m_cwPeak.SetEnabled(enabled);
}

void CDSPDemodMain::ConfigureSpectrumTap(int index, bool enable, int linesPerSecond, std::uint64_t destination) {
  if (index != 0 && index != 1) return;
  m_aSpectrumTaps[index].Configure(enable, linesPerSecond, destination);
}

void CDSPDemodMain::AllocateBuffers() {
  m_aIF.Resize(kBufferSize);
  m_aUpsampled.Resize(kBufferSize);
  m_aAudio.Resize(kBufferSize);
  m_aOutput.Resize(kBufferSize);
}

void CDSPDemodMain::RunNoiseReduction(int& count) {
  switch (m_nNoiseReduction) {
    case 1:
      m_noiseReduction.ProcessEphraimMalah(m_aAudio.data(), count, kBufferSize);
      break;
    case 2:
      if (m_nPreviousNoiseReduction != 2) {
        const CDSPFilterNoiseFIRLMS& lms = m_noiseReduction.FIRLMS();
        m_noiseReduction.SetupFIRLMS(lms.Delay(), lms.Mu(), lms.Lambda(), kFIRLMSTaps);
      }
      m_noiseReduction.ProcessFIRLMS(m_aAudio.data(), count);
      break;
    case 3:
      m_noiseReduction.ProcessRTA(m_aAudio.data(), count);
      break;
    default:
      break;
  }
  m_nPreviousNoiseReduction = m_nNoiseReduction;
}

void CDSPDemodMain::ProcessBlock(const std::complex<float>* in, int n, int inRateHz) {
  if (inRateHz <= 0 || n < 0 || !in) return;
  m_nInputRate = inRateHz;
  m_nOutputCount = 0;
  if (m_aIF.empty()) AllocateBuffers();

  const int halfRate = inRateHz / 2;
  if (std::abs(m_nTuningOffset) >= halfRate) return;
  double offset = m_nTuningOffset;
  if (m_nMode == eDemodCWL) {
    offset += m_nCWPitch;
  } else if (m_nMode == eDemodCWU) {
    offset -= m_nCWPitch;
  } else if (IsECSSMode(m_nMode)) {
    // The tracker's correction keeps its fraction of a hertz: whole hertz would leave the
    // carrier turning by up to a cycle a second.
    offset = std::clamp(offset + m_demodulate.CarrierOffset(), -static_cast<double>(halfRate),
                        static_cast<double>(halfRate));
  }
  const double mixOffset = offset + m_nExtraOffset;

  // Produce IF samples, keeping within the working buffers.
  const int room = kBufferSize - m_nIFCount;
  int produced = 0;
  if (inRateHz >= m_nIFRate) {
    int count = n;
    while (count > 0 && m_downConvert.MaxOutputCount(count) > room) count /= 2;
    produced = m_downConvert.DownConvert(in, count, mixOffset, inRateHz, m_nIFRate, m_aIF.data() + m_nIFCount);
  } else {
    // Zero insertion; the factor k keeps the level of the signal that the down-converter's
    // low-passes leave of it.
    const int k = UpsampleFactor(inRateHz);
    int count = std::min(n, kBufferSize / k);
    while (count > 0 && m_downConvert.MaxOutputCount(count * k) > room) count /= 2;
    std::complex<float>* up = m_aUpsampled.data();
    const float gain = static_cast<float>(k);
    int j = 0;
    for (int i = 0; i < count * k; ++i) {
      if (m_nUpsamplePhase == 0)
        up[i] = in[j++] * gain;
      else
        up[i] = std::complex<float>();
      if (++m_nUpsamplePhase >= k) m_nUpsamplePhase = 0;
    }
    produced = m_downConvert.DownConvert(up, count * k, mixOffset, inRateHz * k, m_nIFRate, m_aIF.data() + m_nIFCount);
  }
  m_nMeanInput = RoundMean(m_meanInput.Add(n));
  m_nMeanIF = RoundMean(m_meanIF.Add(produced));
  m_nIFCount += produced;
  if (m_nIFCount <= 0) return;

  std::complex<float>* iq = m_aIF.data();
  if (m_bNoiseBlanker) {
    m_noiseBlanker.Setup(m_dBlankerLevel, m_dBlankerTimeUs, m_nIFRate);
    m_noiseBlanker.Process(iq, m_nIFCount);
  }
  // "Sync. AM" has its own PLL; only the ECSS modes pull the tuning to the carrier.
  if (IsECSSMode(m_nMode)) m_demodulate.TrackCarrier(iq, m_nIFCount);
  m_aSpectrumTaps[0].Process(iq, m_nIFCount);
  int ifCount = m_channelFilter.ProcessInPlace(iq, m_nIFCount);
  m_aSpectrumTaps[1].Process(iq, ifCount);
  m_nIFCount = 0;

  int audioCount = m_demodulate.Demodulate(m_nMode, iq, ifCount, 0.0f, 0.0f, m_aAudio.data());
  float* audio = m_aAudio.data();
  if (audioCount > 0) {
    if (!IsCWMode(m_nMode) && m_lineEnhancer.IsEnabled()) m_lineEnhancer.Process(audio, audioCount);
    RunNoiseReduction(audioCount);
  }
  if (IsCWMode(m_nMode)) m_cwPeak.Process(audio, audioCount);
  if (IsFMMode(m_nMode)) {
    m_fmSquelch.Process(audio, audioCount);
    if (m_bFMStartPending) {
      // Silent while the channel filter's start-up transient (the down-converter's and its
      // own delay, and its taps filling) and the demodulator's audio filters pass, then a
      // fade-in of 10 ms.
      const double transientIF = m_downConvert.Delay() +
                                 (m_channelFilter.IsEnabled() ? CDSPDemodFilter::kInitialLatency + CDSPDemodFilter::kTaps : 0);
      const double silence = transientIF * m_nAudioRate / m_nIFRate + 2.0 * m_demodulate.Delay(m_nMode);
      m_fmStartFade.Restart(static_cast<int>(std::ceil(silence)), m_nAudioRate / 100);
      m_bFMStartPending = false;
    }
    m_fmStartFade.Process(audio, audioCount);
  } else {
    const double bandwidth = m_channelFilter.IsEnabled() ? m_channelFilter.BandwidthFraction() : 1.0;
    m_basicSquelch.Process(audio, audioCount, iq, ifCount, bandwidth);
  }
  if (!IsFMMode(m_nMode) && audioCount > 0) {
    double* agcIn = m_aAgcIn.data();
    double* agcOut = m_aAgcOut.data();
    for (int k = 0; k < audioCount; ++k) agcIn[k] = audio[k];
    m_agc.Process(audioCount, agcIn, agcOut);
    for (int k = 0; k < audioCount; ++k) audio[k] = static_cast<float>(agcOut[k]);
  }

  // The output buffer holds 65,536 samples; audio beyond what fits is never expected within
  // the block-size contract and is dropped rather than overrun the buffer.
  int feed = audioCount;
  while (feed > 0 && m_resampler.MaxOutputCount(feed) > kBufferSize) feed /= 2;
  m_nOutputCount = feed > 0 ? m_resampler.Process(audio, feed, m_aOutput.data()) : 0;
  if (!m_resampler.IsPassThrough() && m_bAudioFilterEnabled && m_nOutputCount > 0)
    m_audioFilter.Process(m_aOutput.data(), m_nOutputCount);
  m_nMeanOutput = RoundMean(m_meanOutput.Add(m_nOutputCount));
}
