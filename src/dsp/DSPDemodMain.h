#pragma once
// The demodulator chain: blocks of complex baseband samples from a recording in, mono audio
// at 48,000 samples per second out. It owns every stage, holds the demodulation settings
// (mode, tuning offset, pass band, CW pitch, squelch, noise reduction) and runs the stages in
// a fixed order once per block. Pure computation: no threads, no I/O, no locks; settings are
// changed between blocks by the one thread that runs it.
//
// Use: construct; set the tuning offset; SetMode; SetPassBand with IFRate(); then feed blocks
// with ProcessBlock and read Output()/OutputCount() after each. A mode change is SetMode then
// SetPassBand again; a pass-band change alone is SetPassBand. For a new recording make a new
// chain. A block must fit the chain's 65,536-sample working buffers at every stage (IF samples,
// up-sampled input, audio at 48,000 Hz): MaxBlockSamples says how long it may be.

#include <array>
#include <complex>
#include <cstdint>
#include <string>

#include "dsp/AlignedVector.h"
#include "dsp/DSPAgcEx.h"
#include "dsp/DSPBasicSquelch.h"
#include "dsp/DSPCWPeakFilter.h"
#include "dsp/DSPDemodDownConvert.h"
#include "dsp/DSPDemodFilter.h"
#include "dsp/DSPDemodModes.h"
#include "dsp/DSPDemodulate.h"
#include "dsp/DSPFIRFilter.h"
#include "dsp/DSPFMSquelch.h"
#include "dsp/DSPFilterNoiseFIRLMS.h"
#include "dsp/DSPNoiseBlankerAlt.h"
#include "dsp/DSPNoiseReduction.h"
#include "dsp/DSPOtherSquelch.h"
#include "dsp/DSPPolyphaseResampler.h"
#include "dsp/DSPRunningMean.h"
#include "dsp/DSPSpectrumTap.h"
#include "dsp/DSPStartFade.h"

// Where the channel filter places the two positive pass-band edges (low L, high H).
enum class EPassBand {
  eLower,      // -H .. -L
  eUpper,      // L .. H
  eSymmetric,  // -H .. +H
};

// The listening aids a player or a demodulation run switches on, as one set.
struct CDemodNoiseSettings {
  int m_nSquelch = -1;         // level 0-100, -1 off
  bool m_bNoiseBlanker = false;
  int m_nNoiseReduction = 0;   // 0 off, 1 Ephraim-Malah, 2 FIR LMS, 3 spectral subtraction
};

class CDSPDemodMain {
 public:
  static constexpr int kBufferSize = 65536;
  static constexpr int kOutputRate = 48000;
  static constexpr int kRunningMeanEntries = 20;

  CDSPDemodMain();
  CDSPDemodMain(const CDSPDemodMain&) = delete;
  CDSPDemodMain& operator=(const CDSPDemodMain&) = delete;

  // The mode table. Names: "MODE" and "" for a number outside 0..17.
  static const char* ShortName(int mode);
  static const char* LongName(int mode);
  // The first mode whose short or long name equals name, ignoring case; -1 when none does.
  static int ModeFromName(const std::string& name);
  static int IFRateOf(int mode);     // 0 outside 0..17
  static int AudioRateOf(int mode);  // 0 outside 0..17
  static EPassBand PassBandOf(int mode);
  // Pass-band edges (low, high in Hz) that suit a mode when the user has given none.
  static void DefaultPassBand(int mode, int cwPitchHz, int& lowHz, int& highHz);

  // Plans the FFTs a chain makes in mode (every mode for -1), with each noise reduction and
  // both spectrum taps at linesPerSecond (the input rate changes none of them), with the
  // hint nHint (EFFTPlanHint): the chains made later take these plans from wisdom at once.
  // Run it before play, not on the thread that feeds the sound card.
  static void PlanAhead(int linesPerSecond, int nHint, int mode = -1);

  // Applies a mode: rates, AGC rate, pass band, resampler, spectrum-tap rates, squelch and
  // demodulator set-up. The mode already in force does nothing. Numbers outside 0..17 are
  // ignored.
  void SetMode(int mode);
  // Designs the channel filter (for the mode's pass-band shape, at ifRateHz) and the audio
  // filter after the resampler (at 48,000 Hz), only when a value changed. Edges in Hz, both
  // positive. A rate of 0 or both edges 0 leave the filters as they are.
  void SetPassBand(int lowHz, int highHz, int mode, int ifRateHz);

  // Tuning offset in Hz from the centre of the input; takes effect at the next block.
  void SetTuningOffset(int offsetHz) { m_nTuningOffset = offsetHz; }
  int TuningOffset() const { return m_nTuningOffset; }
  // Added to the tuning offset when down-converting (Hz).
  void SetExtraOffset(int offsetHz) { m_nExtraOffset = offsetHz; }
  // CW pitch in Hz: where a CW carrier lands in the audio.
  void SetCWPitch(int pitchHz);
  int CWPitch() const { return m_nCWPitch; }

  // Squelch settings (level 0..100). They are passed to the FM squelch and the other squelch
  // whenever a mode is applied, and at once here. For the basic squelch of the other modes
  // the level is the open threshold in dB of the channel level (16-bit scale, about 90 dB at
  // full scale, independent of the filter width); it closes 6 dB lower after 250 ms.
  void SetSquelch(bool enabled, int level, bool automatic = false, bool trigger = false);

  // 0 off, 1 Ephraim-Malah, 2 FIR LMS, 3 spectral subtraction.
  void SetNoiseReduction(int method);
  int NoiseReduction() const { return m_nNoiseReduction; }
  // Noise blanker on the IF samples (see CDSPNoiseBlankerAlt::Setup for the level).
  void SetNoiseBlanker(bool enabled, double thresholdLevel = 10.0, double blankTimeUs = 500.0);
  // Squelch, noise blanker and noise reduction at once; a squelch of -1 switches it off.
  void SetNoiseSettings(const CDemodNoiseSettings& settings);
  // Adaptive line enhancer on the demodulated audio of all but the CW modes. outputSelection
  // 1 keeps tones and suppresses noise, 0 removes tones (carriers, whistles).
  void SetLineEnhancer(bool enabled, int outputSelection = 1);
  // Peak filter on the CW pitch (CW modes only).
  void SetCWPeakFilter(bool enabled);

  // Spectrum tap 0 sees the IF signal before the channel filter, tap 1 after it.
  void ConfigureSpectrumTap(int index, bool enable, int linesPerSecond, std::uint64_t destination);
  CDSPSpectrumTap& SpectrumTap(int index) { return m_aSpectrumTaps[index & 1]; }

  // Runs the chain on n samples at inRateHz; afterwards Output()/OutputCount() hold the audio
  // at 48,000 Hz. A rate of 0 or an offset outside the input band yields nothing. Input
  // beyond MaxBlockSamples(inRateHz) is dropped, as the fixed buffers cannot hold its audio.
  void ProcessBlock(const std::complex<float>* in, int n, int inRateHz);
  // The largest block (at most 32,768 samples) whose every sample reaches the output in the
  // mode in force: fewer for recordings below the IF rate (up-sampled) and for modes whose
  // audio rate is far below 48,000 Hz (8000 Hz audio becomes six times as many samples).
  int MaxBlockSamples(int inRateHz) const;

  const float* Output() const { return m_aOutput.data(); }
  int OutputCount() const { return m_nOutputCount; }
  // Running means of input, IF and output samples per block.
  int MeanInputCount() const { return m_nMeanInput; }
  int MeanIFCount() const { return m_nMeanIF; }
  int MeanOutputCount() const { return m_nMeanOutput; }

  int Mode() const { return m_nMode; }
  int IFRate() const { return m_nIFRate; }
  int AudioRate() const { return m_nAudioRate; }
  int InputRate() const { return m_nInputRate; }
  int FilterLow() const { return m_nFilterLow; }
  int FilterHigh() const { return m_nFilterHigh; }
  // How many times the pass band has been designed (a design is costly: once per change).
  int PassBandDesignCount() const { return m_nPassBandDesigns; }

  const CDSPDemodFilter& ChannelFilter() const { return m_channelFilter; }
  const CDSPRealFIRFilter& AudioFilter() const { return m_audioFilter; }
  const CDSPDemodulate& Demodulator() const { return m_demodulate; }
  const CDSPBasicSquelch& BasicSquelch() const { return m_basicSquelch; }
  const CDSPFMSquelch& FMSquelch() const { return m_fmSquelch; }

 private:
  void AllocateBuffers();
  void ApplySquelchSettings();
  void RunNoiseReduction(int& count);
  // ceil(IF rate / input rate): the zero-insertion factor for a recording below the IF rate.
  int UpsampleFactor(int inRateHz) const { return (m_nIFRate + inRateHz - 1) / inRateHz; }

  // Member stages in their order of construction (destroyed in reverse).
  CDSPAgcEx m_agc;
  CAlignedVector<double> m_aAgcIn;
  CAlignedVector<double> m_aAgcOut;
  CDSPFilterNoiseFIRLMS m_lineEnhancer;
  CDSPDemodDownConvert m_downConvert;
  std::array<CDSPSpectrumTap, 2> m_aSpectrumTaps;
  CDSPCWPeakFilter m_cwPeak;
  CDSPDemodFilter m_channelFilter;
  CDSPDemodulate m_demodulate;
  CDSPRealFIRFilter m_audioFilter;
  CDSPBasicSquelch m_basicSquelch;
  CDSPFMSquelch m_fmSquelch;
  CDSPRunningMean m_meanInput{kRunningMeanEntries};
  CDSPRunningMean m_meanIF{kRunningMeanEntries};
  CDSPRunningMean m_meanOutput{kRunningMeanEntries};
  CDSPNoiseBlankerAlt m_noiseBlanker;
  CDSPNoiseReduction m_noiseReduction;
  CDSPOtherSquelch m_otherSquelch;  // kept set up with the squelch settings, never run
  CDSPPolyphaseResampler m_resampler;
  CDSPStartFade m_fmStartFade;
  bool m_bFMStartPending = false;  // the fade's length is known once the first block is down-converted

  // Settings.
  int m_nMode = -1;
  int m_nTuningOffset = 0;
  int m_nFilterLow = 200;
  int m_nFilterHigh = 3000;
  int m_nCWPitch = 500;
  bool m_bSquelchEnabled = false;
  int m_nSquelchLevel = 0;
  bool m_bSquelchAutomatic = false;
  bool m_bSquelchTrigger = false;
  int m_nExtraOffset = 0;
  int m_nIFRate = 0;
  int m_nAudioRate = 0;
  int m_nInputRate = 0;
  int m_nNoiseReduction = 0;
  int m_nPreviousNoiseReduction = 0;
  bool m_bNoiseBlanker = false;
  double m_dBlankerLevel = 10.0;
  double m_dBlankerTimeUs = 500.0;
  bool m_bAudioFilterEnabled = false;

  // The last pass-band design.
  int m_nDesignLow = 0;
  int m_nDesignHigh = 0;
  int m_nDesignMode = -1;
  int m_nDesignRate = 0;
  int m_nPassBandDesigns = 0;

  // Working buffers, allocated and zeroed at the first block.
  CAlignedVector<std::complex<float>> m_aIF;
  CAlignedVector<std::complex<float>> m_aUpsampled;
  CAlignedVector<float> m_aAudio;
  CAlignedVector<float> m_aOutput;
  int m_nIFCount = 0;
  int m_nOutputCount = 0;
  int m_nUpsamplePhase = 0;

  int m_nMeanInput = 0;
  int m_nMeanIF = 0;
  int m_nMeanOutput = 0;
};
