#include "cutter/RecordingCutter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <system_error>

#include "analysis/AnalysisOptions.h"
#include "analysis/ProjectFile.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "cutter/BandCutChain.h"
#include "recording/IQSeriesReader.h"
#include "recording/OutputGuard.h"
#include "recording/WaveFileData.h"

namespace {
constexpr std::size_t kBlockSamples = 65536;

}  // namespace

bool CRecordingCutter::Fail(const std::string& strError) {
  m_strError = strError;
  return false;
}

bool CRecordingCutter::OpenInput(const std::filesystem::path& input) {
  m_bPrepared = false;
  m_input.clear();
  m_desc.Clear();
  std::error_code ec;
  if (!std::filesystem::is_regular_file(input, ec)) return Fail(input.string() + ": no such file");
  CWaveFileData data;
  if (!data.GetInformation(input, true, m_desc) || !m_desc.m_bValid || m_desc.m_nFiles == 0)
    return Fail(input.string() + ": not a recording Vexlor reads (" + data.FailureText() + ")");
  if (m_desc.m_nFmtSampleRate == 0 || (m_desc.m_nBitsPerSample != 16 && m_desc.m_nBitsPerSample != 24 &&
                                       m_desc.m_nBitsPerSample != 32))
    return Fail(input.string() + StrFormat(": unsupported samples (%u Hz, %u bits)", m_desc.m_nFmtSampleRate,
                                           m_desc.m_nBitsPerSample));
  m_input = input;
  return true;
}

double CRecordingCutter::InputSeconds() const {
  const std::uint64_t bytesPerComplex = m_desc.m_nBitsPerSample / 8 * 2;
  if (bytesPerComplex == 0 || m_desc.m_nFmtSampleRate == 0) return 0.0;
  return static_cast<double>(m_desc.TotalBytes() / bytesPerComplex) / m_desc.m_nFmtSampleRate;
}

std::uint32_t CRecordingCutter::DefaultRate(double bandwidthHz) const {
  return CBandCutChain::DefaultRate(InputRate(), bandwidthHz);
}

bool CRecordingCutter::Prepare(const CCutRequest& request) {
  m_bPrepared = false;
  m_strError.clear();
  if (m_input.empty() || !IsSameFile(m_input, request.input))
    if (!OpenInput(request.input)) return false;
  m_request = request;
  m_plan = CCutPlan{};
  const std::uint32_t rate = InputRate();
  const double lowEdge = static_cast<double>(m_desc.m_nCenterFrequency) - rate / 2.0;
  const double highEdge = static_cast<double>(m_desc.m_nCenterFrequency) + rate / 2.0;

  if (!(request.dBandwidthHz > 0.0)) return Fail("the bandwidth must be above 0 Hz");
  const double bandLow = request.dCentreHz - request.dBandwidthHz / 2.0;
  const double bandHigh = request.dCentreHz + request.dBandwidthHz / 2.0;
  if (bandLow < lowEdge || bandHigh > highEdge)
    return Fail(StrFormat("the band %.0f .. %.0f Hz is outside the recording's band %.0f .. %.0f Hz", bandLow,
                          bandHigh, lowEdge, highEdge));
  if (request.dCentreHz > 4294967295.0) return Fail(StrFormat("the centre %.0f Hz is above 4294967295 Hz", request.dCentreHz));

  std::uint32_t outRate = request.nOutputRate;
  if (outRate == 0) outRate = DefaultRate(request.dBandwidthHz);
  if (outRate > rate)
    return Fail(StrFormat("the output rate %u Hz is above the recording's rate %u Hz", outRate, rate));
  if (outRate < request.dBandwidthHz)
    return Fail(StrFormat("the output rate %u Hz is narrower than the band (%.0f Hz)", outRate, request.dBandwidthHz));
  if (!CBandCutChain::IsExactRate(rate, outRate))
    return Fail(StrFormat("the output rate %u Hz cannot be reached exactly from %u Hz; %u Hz can", outRate, rate,
                          CBandCutChain::DefaultRate(rate, outRate * CBandCutChain::kFlatFraction)));

  const double duration = InputSeconds();
  const double endSeconds = request.dEndSeconds < 0.0 ? duration : request.dEndSeconds;
  if (request.dStartSeconds < 0.0 || request.dStartSeconds >= duration)
    return Fail(StrFormat("the start %.3f s lies outside the recording (0 .. %.3f s)", request.dStartSeconds, duration));
  if (endSeconds > duration + 0.5 / rate)
    return Fail(StrFormat("the end %.3f s lies outside the recording (0 .. %.3f s)", endSeconds, duration));
  if (endSeconds <= request.dStartSeconds) return Fail("the end must come after the start");

  if (!CIQSeriesWriter::IsFirstFileName(request.output.filename().string()))
    return Fail(request.output.string() + ": the output's name must end in \" 000.wav\"");
  std::error_code ec;
  const std::filesystem::path folder = request.output.parent_path().empty() ? "." : request.output.parent_path();
  if (!std::filesystem::is_directory(folder, ec)) return Fail(folder.string() + ": no such folder");

  m_plan.nInputRate = rate;
  m_plan.nOutputRate = outRate;
  m_plan.nStartSample = std::llround(request.dStartSeconds * rate);
  m_plan.nEndSample = std::min<std::int64_t>(std::llround(endSeconds * rate),
                                             static_cast<std::int64_t>(duration * rate + 0.5));
  m_plan.nOutputSamples = static_cast<std::uint64_t>(
      std::llround(static_cast<double>(m_plan.nEndSample - m_plan.nStartSample) * outRate / rate));
  if (m_plan.nOutputSamples == 0) return Fail("the range is shorter than one output sample");
  m_plan.dOffsetHz = request.dCentreHz - static_cast<double>(m_desc.m_nCenterFrequency);
  m_plan.dStartUtc = static_cast<double>(m_desc.m_tStart) + static_cast<double>(m_plan.nStartSample) / rate;

  const std::uint64_t bytesPerSample = 2 * CIQSeriesWriter::BitsPerSample(request.eFormat) / 8;
  const std::uint64_t perFile = std::max<std::uint64_t>(1, request.nMaxFileBytes / bytesPerSample);
  const std::uint64_t files = (m_plan.nOutputSamples + perFile - 1) / perFile;
  if (files > 999) return Fail(StrFormat("the cut needs %llu files; at most 999 can be numbered",
                                         static_cast<unsigned long long>(files)));
  const std::vector<std::filesystem::path> inputs = RecordingFiles(m_desc);
  for (std::uint64_t n = 0; n < files; ++n) {
    const std::filesystem::path wav = CIQSeriesWriter::FilePath(request.output, static_cast<int>(n));
    std::filesystem::path xml = wav;
    xml.replace_extension(".xml");
    for (const auto& out : {wav, xml})
      for (const auto& in : inputs)
        if (IsSameFile(out, in))
          return Fail(out.string() + " would overwrite " + in.string() + ", a file of the recording");
    m_plan.aOutputFiles.push_back(wav);
  }
  CBandCutChain chain;
  if (!chain.Setup(rate, outRate, m_plan.dOffsetHz)) return Fail("the cut cannot be planned");
  m_plan.nDecimation = chain.Decimation();
  m_bPrepared = true;
  return true;
}

bool CRecordingCutter::Run(const std::atomic<bool>* pAbort, const ProgressFunction& progress) {
  m_bAborted = false;
  m_nWritten = 0;
  m_aWritten.clear();
  if (!m_bPrepared) return Fail(m_strError.empty() ? "nothing prepared to cut" : m_strError);
  const auto tBegin = std::chrono::steady_clock::now();

  CBandCutChain chain;
  if (!chain.Setup(m_plan.nInputRate, m_plan.nOutputRate, m_plan.dOffsetHz)) return Fail("the cut cannot be planned");
  CIQSeriesReader reader;
  if (!reader.Open(m_desc)) return Fail(m_input.string() + ": " + reader.Error());
  const std::int64_t firstRead = m_plan.nStartSample - chain.PrerollSamples();
  std::uint64_t zerosBefore = 0;
  if (firstRead < 0) {
    zerosBefore = static_cast<std::uint64_t>(-firstRead);
  } else if (!reader.SeekToByte(static_cast<std::uint64_t>(firstRead) * reader.BytesPerComplex())) {
    return Fail(m_input.string() + ": " + reader.Error());
  }
  // Input beyond the cut's end (for the filters) is read while the recording has it; past
  // its end the chain is fed silence.
  const std::uint64_t lastRead = std::min<std::uint64_t>(
      reader.TotalSamples(), static_cast<std::uint64_t>(m_plan.nEndSample + chain.PostrollSamples()));

  CIQSeriesWriter writer;
  CIQSeriesWriter::CSettings settings;
  settings.firstFile = m_request.output;
  settings.eFormat = m_request.eFormat;
  settings.nSampleRate = m_plan.nOutputRate;
  settings.nCenterFrequency = static_cast<std::uint32_t>(std::llround(m_request.dCentreHz));
  settings.dStartUtc = m_plan.dStartUtc;
  settings.nMaxDataBytes = m_request.nMaxFileBytes;
  settings.aProtected = RecordingFiles(m_desc);
  if (!writer.Open(settings)) return Fail(writer.Error());

  std::vector<std::complex<float>> block(kBlockSamples);
  std::vector<std::complex<float>> out(static_cast<std::size_t>(chain.MaxOutputCount(kBlockSamples)));
  const std::uint64_t bytesPerComplex = reader.BytesPerComplex();
  CCutProgress state;
  bool bOk = true;
  while (m_nWritten < m_plan.nOutputSamples) {
    if (pAbort && pAbort->load(std::memory_order_relaxed)) {
      m_bAborted = true;
      break;
    }
    std::size_t filled = 0;
    if (zerosBefore > 0) {
      filled = static_cast<std::size_t>(std::min<std::uint64_t>(zerosBefore, kBlockSamples));
      std::fill(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(filled), std::complex<float>{});
      zerosBefore -= filled;
    }
    const std::uint64_t position = reader.SamplePosition();
    if (filled < kBlockSamples && position < lastRead) {
      const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(kBlockSamples - filled, lastRead - position));
      const std::int64_t got = reader.Read(block.data() + filled, want);
      if (got < 0) {
        bOk = Fail(m_input.string() + ": " + reader.Error());
        break;
      }
      if (got == 0) {
        bOk = Fail(m_input.string() + ": the recording ends early");
        break;
      }
      filled += static_cast<std::size_t>(got);
      state.nInputBytes += static_cast<std::uint64_t>(got) * bytesPerComplex;
    }
    if (filled < kBlockSamples && reader.SamplePosition() >= lastRead) {
      std::fill(block.begin() + static_cast<std::ptrdiff_t>(filled), block.end(), std::complex<float>{});
      filled = kBlockSamples;
    }
    const int produced = chain.Process(block.data(), static_cast<int>(filled), out.data());
    const std::uint64_t keep = std::min<std::uint64_t>(static_cast<std::uint64_t>(produced), m_plan.nOutputSamples - m_nWritten);
    if (keep > 0 && !writer.Write(out.data(), static_cast<std::size_t>(keep))) {
      bOk = Fail(writer.Error());
      break;
    }
    m_nWritten += keep;
    if (progress) {
      state.dFraction = static_cast<double>(m_nWritten) / static_cast<double>(m_plan.nOutputSamples);
      state.dElapsedSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - tBegin).count();
      state.dMegabytesPerSecond = state.dElapsedSeconds > 0.0 ? state.nInputBytes / 1e6 / state.dElapsedSeconds : 0.0;
      state.dRemainingSeconds = state.dFraction > 0.0 ? state.dElapsedSeconds * (1.0 - state.dFraction) / state.dFraction : 0.0;
      progress(state);
    }
  }
  const bool bClosed = writer.Close();
  m_aWritten = writer.Written();
  if (bOk && !bClosed) bOk = Fail(writer.Error());
  return bOk;
}

bool CutRequestFromProject(const std::filesystem::path& project, CCutRequest& request, std::string& strError) {
  CAnalysisOptions options;
  CImageRows rows;
  int nWidth = 0, nHeight = 0;
  std::string strTags, strMessage;
  if (!CProjectFile::Load(options, project, rows, nWidth, nHeight, strTags, nullptr, strMessage)) {
    strError = project.string() + ": " + strMessage;
    return false;
  }
  if (options.m_astrRecordingFilenames.empty()) {
    strError = project.string() + ": the project names no recording";
    return false;
  }
  request.input = options.m_astrRecordingFilenames.front();
  request.dCentreHz = options.m_nAnalysisCenterFreq;
  request.dBandwidthHz = options.m_nAnalysisBandwidth;
  request.dStartSeconds = static_cast<double>(options.m_tAnalysisStartUTC - options.m_tRecordingStartUTC);
  request.dEndSeconds = static_cast<double>(options.m_tAnalysisEndUTC - options.m_tRecordingStartUTC);
  if (request.dStartSeconds < 0.0) request.dStartSeconds = 0.0;
  // A project of the whole recording may state no range of its own.
  if (request.dEndSeconds <= request.dStartSeconds) request.dEndSeconds = -1.0;
  return true;
}
