#pragma once
// CDemodBackgroundThread ("Demod"): plays one narrow channel of the loaded recording in real
// time. On its own thread it reads the recording's WAV files block by block, converts the
// samples to complex floats, makes a display spectrum of every block, feeds the new samples
// to the demodulator chain and hands the audio to the output device and, while recording, to
// the audio recorder. File, position and end of play go to the view as registered messages.
//
// The sound card paces it: the thread reads ahead only while fewer than 10 audio buffers
// are queued, and every buffer the card finishes asks for the next block when the queue
// has run down below that. At most one next-block request is pending at any time.
//
// The user-interface side commands it with packets (the Send... calls). The few fields the
// view writes directly (repeat range and flag, the play-start state) are atomics or sit
// behind a small lock of their own, read by the thread at each block.

#include <atomic>
#include <complex>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/MessageTarget.h"
#include "dsp/AlignedVector.h"
#include "dsp/DSPDemodMain.h"
#include "dsp/FFTWPlan.h"
#include "player/AudioOutput.h"
#include "player/AudioRecorder.h"
#include "core/QueueThread.h"
#include "player/DemodBkgPacket.h"
#include "recording/WaveStreamFile.h"


// The repeat range: file names and byte offsets within the files' data.
struct CRepeatRange {
  std::string m_strStartFile;
  std::uint32_t m_nStartOffset = 0;
  std::string m_strEndFile;
  std::uint32_t m_nEndOffset = 0;
};

// RegMsgSDR::nMsgRecordingStatus, wParam: what happened to the recording (lParam = samples
// written, payload = the file path).
enum ERecordingStatus : int {
  RECORDING_STOPPED = 0,
  RECORDING_STARTED = 1,
  RECORDING_FAILED_TO_START = 2,
  RECORDING_ENDED_BY_ERROR = 3,
};

class CDemodBackgroundThread final : public CQueueThread<CDemodBkgPacket>, private CAudioOutputOwner {
 public:
  static constexpr int kMaxChainInput = 32768;  // samples per call of the chain
  static constexpr int kSpectrumHeader = 10;

  explicit CDemodBackgroundThread(std::shared_ptr<CAudioBackend> pBackend);
  ~CDemodBackgroundThread() override;

  // Commands (queued; the thread handles them in order).
  void SendConfigureSpectrumTap(int nIndex, bool bEnable, int nLinesPerSecond, std::uint64_t nDestination);
  void SendRebuildDemod();
  void SendInitDisplayFFT();
  void SendOpenFile(CMessageTarget* pNotify, const std::string& strFile, std::uint32_t nOffset, bool bOnlyIfOpen);
  void SendOpenAudio();
  void SendPause(bool bPaused);
  void SendPassBand(int nFilterLowHz, int nFilterHighHz);
  void SendDisplayFFT(std::uint32_t nSize, int nOverlapPercent);
  void SendTuningOffset(int nOffsetHz);
  void SendMode(int nMode);
  void SendAudioDevice(std::uint32_t nDeviceID, const std::string& strName);
  // The listening aids: squelch level 0-100 (-1 off), noise blanker, noise reduction 0-3.
  // Each is stored for the next chain and applied to this one at the next block.
  void SendSquelch(int nLevel);
  void SendNoiseBlanker(bool bEnabled);
  void SendNoiseReduction(int nMethod);
  void SendStop();
  void SendRecordingMetadata(int nSlot, const std::string& strText);
  void SendStartRecording(CMessageTarget* pNotify, int eFormat, const std::string& strFolder,
                          const std::string& strFileName);
  void SendStopRecording();
  // Cancels any next-block request still queued and queues a new one. Nothing once
  // shutdown has begun.
  void RequestNextBlock() override;

  // Written by the view.
  void SetSeries(const std::vector<std::string>& astrFiles, const std::vector<std::uint32_t>& anSizes);
  void SetRepeatRange(const CRepeatRange& range);
  CRepeatRange RepeatRange() const;
  void SetRepeat(bool bRepeat) { m_bRepeat = bRepeat; }
  bool Repeat() const { return m_bRepeat.load(); }
  // The state a new play starts from: swap flag of the recording, not stopped, skip-carry
  // set, no blocks, no pending display-FFT change, nothing played.
  void PrepareForPlay(bool bSwapIQ);
  // The window function of the display FFT (the analysis window numbers), used at the next
  // set-up.
  void SetDisplayWindow(std::uint32_t eWindow) { m_eWindow = eWindow; }

  // Volume and mute go straight to the device (read at each buffer).
  void SetVolume(int nPercent) { m_audio.SetVolume(nPercent); }
  void SetMute(bool bMute) { m_audio.SetMute(bMute); }

  // Figures for displays, tests and benchmarks (safe from any thread).
  std::uint64_t BlocksProcessed() const { return m_nBlocksProcessed.load(); }
  std::int64_t BytesPlayed() const { return m_nBytesPlayed.load(); }
  int QueuedAudioBuffers() const { return m_audio.QueuedCount(); }
  int PeakAudioInQueue() const { return m_nPeakInQueue.load(); }
  bool IsAudioOpen() const { return m_bAudioOpen.load(); }
  bool IsFileOpen() const { return m_bFileOpen.load(); }
  bool IsRecording() const { return m_bRecording.load(); }

  // The thread's own audio device, for its owner's set-up before the thread starts and for
  // the device list.
  CAudioOutput& AudioOutput() { return m_audio; }

 protected:
  void ProcessPacket(CDemodBkgPacket& packet, int nQueuedBehind) override;

 private:
  void LogText(const std::string& strLine) override { CQueueThread::LogText(strLine); }

  void RebuildDemod();
  void InitDisplayFFT();
  void OpenFile(const std::string& strFile, std::uint32_t nOffset, bool bAccounting, CMessageTarget* pNotify,
                bool bNotify);
  void CloseFile(bool bLog);
  void Restart();
  bool RepeatRangePassed() const;
  void ReadAndPlayBlock();
  void ApplyPendingChanges();
  void ConvertBlock();
  void PlayPiece(const std::complex<float>* pSamples, int nCount);
  void HandleAudio();
  void PostTapSpectra();
  void PostDisplaySpectrum();
  void PostPosition();
  CAudioRecordingContext RecordingContext() const;
  void StartRecording(const CDemodBkgPacket& packet);
  void StopRecording();
  void PostRecordingStatus(ERecordingStatus eStatus);
  int SeriesIndex(const std::string& strFile, bool& bFound) const;
  std::uint64_t BytesBefore(const std::string& strFile) const;

  CAudioOutput m_audio;
  CAudioRecorder m_recorder;
  CMessageTarget* m_pRecordNotify = nullptr;

  mutable std::mutex m_seriesMutex;
  std::vector<std::string> m_astrFiles;
  std::vector<std::uint32_t> m_anFileSizes;

  mutable std::mutex m_repeatMutex;
  CRepeatRange m_repeat;
  std::atomic<bool> m_bRepeat{false};

  // The open file.
  CWaveStreamFile m_file;
  std::string m_strFile;
  std::uint32_t m_nPosition = 0;  // bytes into the file's data
  std::uint32_t m_nBytesPerSample = 0;
  std::atomic<bool> m_bFileOpen{false};
  CMessageTarget* m_pView = nullptr;

  std::atomic<std::int64_t> m_nBytesPlayed{0};
  std::atomic<std::uint64_t> m_nBlocksProcessed{0};
  std::atomic<bool> m_bSwapIQ{false};
  std::atomic<bool> m_bStopped{false};
  std::atomic<bool> m_bSkipCarry{true};
  std::atomic<bool> m_bChangeFFT{false};
  std::atomic<bool> m_bChangeMode{false};
  bool m_bPaused = false;
  bool m_bChangeOffset = false;
  bool m_bChangePassBand = false;
  bool m_bChangeDevice = false;
  bool m_bChangeNoise = false;

  // Demodulation settings kept for rebuilding the chain.
  int m_nTuningOffset = 0;
  int m_nMode = 1;
  int m_nFilterLow = 0;
  int m_nFilterHigh = 0;
  CDemodNoiseSettings m_noise;
  std::unique_ptr<CDSPDemodMain> m_pDemod;

  // The display FFT.
  std::uint32_t m_nFFTSize = 0;
  int m_nOverlap = 0;
  std::atomic<std::uint32_t> m_eWindow{0};
  float m_fReferenceDb = 0.0f;
  std::vector<unsigned char> m_abRaw;
  CAlignedVector<std::complex<float>> m_aBlock;
  CAlignedVector<std::complex<float>> m_aFFTIn;
  CAlignedVector<std::complex<float>> m_aFFTOut;
  std::vector<float> m_afWindow;
  CFFTWPlanF m_plan;

  std::vector<std::int16_t> m_anAudio;
  std::atomic<int> m_nPeakInQueue{0};
  std::atomic<bool> m_bAudioOpen{false};
  std::atomic<bool> m_bRecording{false};
};
