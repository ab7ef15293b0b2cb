#pragma once
// CPlayerSession: the player as front ends drive it (the GUI view and `vexlor-cli play`).
// It owns the "Demod" thread and the player options, runs the start-play, play-at-point
// and repeat-range sequences, and turns the thread's messages into typed state: the open
// file, position and playing time, end of play, recording status, a device that did not
// open, and the newest display spectrum only (a slow receiver never builds a backlog).
//
// Front ends reach the player only through this class. Every call is made on the front
// end's thread; the state is updated on the player thread as its messages arrive and read
// with State() and TakeDisplaySpectrum() from any thread. SetChangeCallback tells a front
// end (on the player thread) that something changed, so that it can wake its own thread.
//
// Play never measures FFT plans on the player thread: the first play of a recording rate
// and mode plans the chain's and the display's sizes ahead, from wisdom when it exists;
// the thread itself plans only from wisdom or by estimate.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "core/MessageTarget.h"
#include "player/AudioBackend.h"
#include "player/DemodBackgroundThread.h"
#include "player/PlayerControl.h"
#include "recording/RecordingDescription.h"

class CMySettingsStore;

// What the player is doing, as its messages told.
struct CPlayerState {
  bool m_bPlaying = false;        // play started and not yet ended or stopped
  bool m_bEnded = false;          // the last file finished without repeat (or could not open)
  bool m_bFileOpenFailed = false;
  std::size_t m_nFileIndex = 0;   // the current file of the series
  std::uint32_t m_nPosition = 0;  // bytes into its data
  std::int32_t m_nPlayingSeconds = 0;  // since the start of the play range
  std::uint64_t m_nBlocks = 0;
  bool m_bDeviceFailed = false;   // the first block found the audio device closed
  ERecordingStatus m_eRecording = RECORDING_STOPPED;
  bool m_bRecordingFailed = false;  // failed to start or ended by an error
  std::string m_strRecordingPath;
  std::uint64_t m_nRecordedSamples = 0;
  std::uint64_t m_nErasures = 0;  // how many times play restarted at the repeat start
};

// The newest display spectrum: levels in dB, lowest frequency first.
struct CDisplaySpectrum {
  std::uint32_t m_nSampleRate = 0;
  std::int32_t m_nPlayingSeconds = 0;
  std::vector<float> m_afLevels;
};

class CPlayerSession {
 public:
  using LogFunction = std::function<void(const std::string&)>;

  explicit CPlayerSession(std::shared_ptr<CAudioBackend> pBackend);
  ~CPlayerSession();
  CPlayerSession(const CPlayerSession&) = delete;
  CPlayerSession& operator=(const CPlayerSession&) = delete;

  // Where log lines go (the thread's and the sequences'); the log file when none is set.
  // Set before Start.
  void SetLogFunction(LogFunction log) { m_log = std::move(log); }
  // Called on the player thread after each change of state or a new spectrum.
  void SetChangeCallback(std::function<void()> onChange);

  // Starts the "Demod" thread (once): name, log window, start, "Below normal", wait until
  // idle, and the saved repeat flag. False (and logged) when the thread cannot start.
  bool Start(bool bRepeat = false);
  bool IsStarted() const { return m_bStarted; }

  // The player options: read from and written to the settings store, or set directly.
  void LoadOptions(CMySettingsStore& store) { m_options = ReadPlayerOptions(store); }
  void SaveOptions(CMySettingsStore& store) const;
  void SetOptions(const CPlayerOptions& options) { m_options = options; }
  const CPlayerOptions& Options() const { return m_options; }

  // Starts play of desc at tPlayStart (seconds from its start). False with the message to
  // show in strMessage. pSetup receives the display FFT.
  bool Play(const CRecordingDescription& desc, double tPlayStart, bool bSwapIQ, std::string& strMessage,
            CDisplayFFTSetup* pSetup = nullptr);
  // Moves play to a clicked point of the picture; false for a click outside it.
  bool PlayAtPoint(const CRecordingDescription& desc, const CPictureClick& click, double& dFrequencyHz);
  // Tunes to dFrequencyHz (the tuning offset from the recording's centre) without moving
  // the play position; false when it lies outside the recording's band.
  bool Retune(const CRecordingDescription& desc, double dFrequencyHz);
  // The frequency the player is tuned to (the recording's centre until a click or a
  // retune), and the pass band the mode hears around it.
  double TunedFrequency() const { return static_cast<double>(m_nCentreHz) + m_nOffsetHz; }
  void PassBand(double& dLowHz, double& dHighHz) const;
  // The recording seconds of the playing point (the position reports).
  double PlayingPointSeconds(const CRecordingDescription& desc) const;
  void SetRepeatRange(const CRecordingDescription& desc, double tStart, double tEnd);
  void SetRepeat(bool bRepeat) { m_thread.SetRepeat(bRepeat); }
  // Flips and saves "CVexlorView::m_bPlayerRepeat"; returns the new value.
  bool ToggleRepeat(CMySettingsStore& store) { return TogglePlayerRepeat(m_thread, store); }

  void Pause(bool bPaused) { m_thread.SendPause(bPaused); }
  // Stops play: the file is closed; waits until the thread has done so (at most 2 s).
  void Stop();
  void SetMode(int nMode);
  void SetPassBand(int nLowHz, int nHighHz);
  void SetTuningOffset(int nOffsetHz) {
    m_nOffsetHz = nOffsetHz;
    m_thread.SendTuningOffset(nOffsetHz);
  }
  // The display rate of the player's spectra ("DemodPlayerFFT", 0 = 20 lines per second);
  // while playing desc, the display FFT and both taps change at the next block.
  void SetDisplayRate(const CRecordingDescription& desc, int nLinesPerSecond);
  // The squelch (level 0-100), noise blanker and noise reduction (0 off, 1 Ephraim-Malah,
  // 2 FIR LMS, 3 spectral subtraction): kept in the options and, while playing, applied
  // at the next block.
  void SetSquelch(bool bEnable, int nLevel);
  void SetNoiseBlanker(bool bEnable);
  void SetNoiseReduction(int nMethod);
  void SetVolume(int nPercent) { m_thread.SetVolume(nPercent); }
  void SetMute(bool bMute) { m_thread.SetMute(bMute); }
  // Records the played audio (AUDIO_RECORD_WAV or AUDIO_RECORD_MP3) with the metadata
  // slots given (slot, text).
  void StartRecording(int eFormat, const std::string& strFolder, const std::string& strFileName,
                      const std::vector<std::pair<int, std::string>>& aMetadata = {});
  void StopRecording() { m_thread.SendStopRecording(); }

  CPlayerState State() const;
  // The newest display spectrum since the last call, if any came.
  std::optional<CDisplaySpectrum> TakeDisplaySpectrum();
  // The newest spectrum of tap 0 (the IF before the channel filter) or 1 (after it) since
  // the last call; its rate is the IF rate, centred on the tuned frequency.
  std::optional<CDisplaySpectrum> TakeTapSpectrum(int nTap);

  // Ends play and the thread: recording stopped, file closed, device closed.
  void Shutdown();

  // The thread, for figures (blocks, queued buffers, CPU) and the device list.
  CDemodBackgroundThread& Thread() { return m_thread; }

 private:
  class CTarget final : public CMessageTarget {
   public:
    explicit CTarget(CPlayerSession& session) : m_session(session) {}
    using CMessageTarget::Post;
    bool Post(CMessage msg) override { return m_session.OnMessage(msg); }

   private:
    CPlayerSession& m_session;
  };

  bool OnMessage(CMessage& msg);
  void Emit(const std::string& strLine) const;
  void PlanAhead(std::uint32_t nRateHz, const CDisplayFFTSetup& setup);

  LogFunction m_log;
  CPlayerOptions m_options;
  bool m_bStarted = false;
  std::uint32_t m_nCentreHz = 0;  // of the recording last played or clicked
  int m_nOffsetHz = 0;             // the tuning offset sent last
  std::set<std::tuple<std::uint32_t, int, int>> m_planned;  // (rate, lines per second, mode) planned ahead

  // Written on the player thread: declared before the thread, so they outlive it.
  mutable std::mutex m_mutex;
  std::function<void()> m_onChange;
  CPlayerState m_state;
  std::optional<CDisplaySpectrum> m_spectrum;
  std::optional<CDisplaySpectrum> m_aTapSpectra[2];

  CTarget m_target{*this};
  CDemodBackgroundThread m_thread;
};
