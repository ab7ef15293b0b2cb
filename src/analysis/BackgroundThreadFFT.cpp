#include "analysis/BackgroundThreadFFT.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "analysis/AnalysisRecords.h"
#include "analysis/AnalysisWindow.h"
#include "analysis/BlockConversion.h"
#include "dsp/SpectrumKernel.h"
#include "core/AppState.h"
#include "core/EngineFaults.h"
#include "core/Log.h"
#include "core/RegisteredMessages.h"

namespace {

// libgomp's own synchronisation is invisible to the thread sanitizer, which would report
// the conversion threads' writes as races; sanitizer builds convert the same parts on the
// worker's own thread.
#if defined(__SANITIZE_THREAD__)
constexpr bool kConvertInParallel = false;
#else
constexpr bool kConvertInParallel = true;
#endif

// Below this FFT size a block converts in less time than it takes to wake a second thread
// and wait for it: on a busy machine that wait is a whole scheduling slice, and measured at
// 1 M points the two-thread conversion made the whole analysis slower by a third. Smaller
// blocks convert their two parts one after the other on the worker's own thread; the
// parts, and so the levels, are the same either way.
constexpr std::uint32_t kParallelConversionMinSize = 1u << 22;

}  // namespace

CBackgroundThreadFFT::CBackgroundThreadFFT(int nIndex) : m_nIndex(nIndex) {}

CBackgroundThreadFFT::~CBackgroundThreadFFT() { StopThread(); }

void CBackgroundThreadFFT::SetOptions(const CAnalysisOptions& options) {
  const bool bKeep = m_plan && m_nFFTSize == options.m_nAnalysisFFTSize && m_nHintInUse == options.m_nFFTHint;
  m_options.CopyFrom(options);
  if (bKeep)
    m_eWindowInUse = EffectiveAnalysisWindow(m_options.m_eAnalysisWindow);
  else
    ReleaseState();
}

void CBackgroundThreadFFT::ProcessPacket(CBkgPacket& packet, int) {
  switch (packet.m_nType) {
    case PKT_FFT: {
      auto* pPacket = dynamic_cast<CFFTPacket*>(&packet);
      if (!pPacket) return;
      std::unique_ptr<CSampleBlock> pBlock = pPacket->TakeBlock();
      if (!pBlock) return;
      if (!m_bReady) BuildState();
      Transform(*pBlock, packet.m_pReplyWnd);
      if (packet.m_pReplyWnd)
        packet.m_pReplyWnd->Post(RegMsgSDR::nMsgFFTBuff, static_cast<std::uintptr_t>(m_nIndex), 0,
                                 std::move(pBlock));
      break;
    }
    case PKT_STATUS:
      EchoStatus(packet);
      break;
    case PKT_WINDOW:
      m_pWindow = static_cast<const float*>(packet.m_pPayload);
      m_nWindowLength = packet.m_nParam1;
      break;
    case PKT_RELEASE:
      ReleaseState();
      break;
    default:
      break;
  }
}

void CBackgroundThreadFFT::BuildState() {
  m_bReady = true;
  m_nFFTSize = m_options.m_nAnalysisFFTSize;
  m_eWindowInUse = EffectiveAnalysisWindow(m_options.m_eAnalysisWindow);
  m_nHintInUse = m_options.m_nFFTHint;
  m_workA.Resize(2 * std::size_t{m_nFFTSize});
  m_workB.Resize(2 * std::size_t{m_nFFTSize});
  // Without buffers or a plan every row comes out at the noise floor: the user must know.
  const auto fault = [this](EEngineFault eKind, const std::string& strText) {
    Log("%s", strText.c_str());
    ReportEngineFault(eKind, strText);
  };
  if (m_workA.empty() || m_workB.empty()) {
    fault(EEngineFault::Buffer,
          StrFormat("FFT %d> Cannot allocate the work buffers of a %u-point FFT", m_nIndex + 1, m_nFFTSize));
  } else {
    m_nPlanGeneration = FFTWPlanner::WisdomGeneration();
    m_plan = CFFTWPlanF::Complex(static_cast<int>(m_nFFTSize), m_workB.data(), m_workA.data(), FFTW_FORWARD,
                                 m_nHintInUse);
    if (!m_plan)
      fault(EEngineFault::FFTPlan, StrFormat("FFT %d> Cannot make an FFT plan of %u points", m_nIndex + 1, m_nFFTSize));
  }
  // Measuring overwrote the vectors; a fresh state starts from zeros.
  m_workA.Zero();
  m_workB.Zero();
  m_fReferenceLevel = SpectrumKernel::ReferenceLevel(m_nFFTSize);
}

void CBackgroundThreadFFT::TakeMeasuredPlan() {
  // The estimate's measurement (or another) has finished: plan again, which finds the
  // measured plan in the wisdom when it was this transform's. Neither the estimate nor a
  // plan from the wisdom touches the work vectors.
  const std::uint64_t nGeneration = FFTWPlanner::WisdomGeneration();
  if (nGeneration == m_nPlanGeneration) return;
  m_nPlanGeneration = nGeneration;
  if (CFFTWPlanF plan = CFFTWPlanF::Complex(static_cast<int>(m_nFFTSize), m_workB.data(), m_workA.data(),
                                            FFTW_FORWARD, m_nHintInUse))
    m_plan = std::move(plan);
}

void CBackgroundThreadFFT::ReleaseState() {
  m_rowStorage.Trim();
  m_plan.Reset();
  m_workA = {};
  m_workB = {};
  m_bReady = false;
}

void CBackgroundThreadFFT::ConvertSamples(const std::uint8_t* pBlock, const BlockConversion::SBlockFormat& format) {
  float* pInput = m_workB.data();
  const std::uint32_t n = m_nFFTSize;
  // The block is always cut into the same two parts, whatever number of threads the
  // runtime grants: the parts' source offsets shape the levels (see ConvertPart).
#pragma omp parallel for num_threads(BlockConversion::kConversionParts) schedule(static, 1) if (kConvertInParallel && n >= kParallelConversionMinSize)
  for (int t = 0; t < BlockConversion::kConversionParts; ++t)
    BlockConversion::ConvertPart(pBlock, format, n, t, BlockConversion::kConversionParts, pInput);
}

void CBackgroundThreadFFT::Transform(CSampleBlock& block, CMessageTarget* pReplyWnd) {
  const std::uint32_t n = m_nFFTSize;
  const std::size_t nBytesPerValue = block.m_nBitsPerSample / 8u;
  const std::size_t nBlockBytes = nBytesPerValue * n * 2;
  if (nBlockBytes == 0 || !block.m_pData) return;
  const std::size_t nBlocks = block.m_nBlockCount;
  // Without a plan or work vectors (their allocation failed) every block still gives its
  // row, at the floor: the controller finishes a run only when every row dispatched has
  // come back, so a missing row would keep the run (and its abort) from ever ending.
  const bool bCanTransform = m_plan && !m_workA.empty() && !m_workB.empty();
  const float fFloor = std::log10(1.0e-5f) * 20.0f - m_fReferenceLevel;
  // A table that does not match the size (none sent) cannot be applied; the block is then
  // transformed unwindowed rather than read past the table's end.
  const bool bWindow = m_eWindowInUse != ANALYSIS_WINDOW_NONE && m_pWindow && m_nWindowLength >= n;
  BlockConversion::SBlockFormat format;
  format.nFormatTag = block.m_nFormatTag;
  format.nBitsPerSample = block.m_nBitsPerSample;
  format.pWindow = bWindow ? m_pWindow : nullptr;
  format.bSwapIQ = m_options.m_bAnalysisSwapIQ != 0;
  CAnalysisTimeSplit::CTimer timer(m_pTimeSplit);
  const std::uint8_t* p = block.m_pData.get() + block.m_nOffset;
  std::uint32_t nRow = block.m_nFirstRow;
  for (std::size_t b = 0; b < nBlocks; ++b, p += block.m_nStepBytes, ++nRow) {
    if (AppState::bShuttingDown) return;
    auto pRow = std::make_unique<CRowRecord>(n, &m_rowStorage);
    if (bCanTransform && m_plan.IsProvisional()) TakeMeasuredPlan();
    if (bCanTransform) {
      // Converted, exchanged and windowed straight into the transform's input.
      ConvertSamples(p, format);
      timer.Lap(CAnalysisTimeSplit::CONVERT);
      m_plan.Execute();
      timer.Lap(CAnalysisTimeSplit::FFT);
      SpectrumKernel::ComputeLevels(m_workA.data(), n, m_fReferenceLevel, pRow->Levels());
      timer.Lap(CAnalysisTimeSplit::LEVELS);
    } else {
      std::fill(pRow->Levels(), pRow->Levels() + n, fFloor);
    }
    if (pReplyWnd) pReplyWnd->Post(RegMsgSDR::nMsgFFTOutput, nRow, 0, std::move(pRow));
  }
}
