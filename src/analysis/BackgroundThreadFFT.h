#pragma once
// CBackgroundThreadFFT: a worker that turns sample blocks into spectrum rows.
//
// For every FFT block of a PKT_FFT sample block it converts the raw values, swaps I and Q
// when asked, applies the shared window table, transforms with FFTW and posts one row
// record (RegMsgSDR::nMsgFFTOutput, wParam = row index); after the last block it hands the
// sample block back (RegMsgSDR::nMsgFFTBuff, wParam = worker index). Rows of several
// workers therefore arrive in any order; the controller puts them back in order.
//
// The FFT state (plan and work vectors) is built on the first PKT_FFT after a release or a
// change of FFT size or hint, and allocated once per plan, never per block.

#include <cstdint>

#include "analysis/AnalysisOptions.h"
#include "analysis/AnalysisTimeSplit.h"
#include "analysis/BlockCache.h"
#include "analysis/BlockConversion.h"
#include "dsp/AlignedVector.h"
#include "dsp/FFTWPlan.h"
#include "core/BackgroundThreadBase.h"

struct CSampleBlock;

class CBackgroundThreadFFT final : public CBackgroundThreadBase {
 public:
  explicit CBackgroundThreadFFT(int nIndex);
  ~CBackgroundThreadFFT() override;

  int Index() const { return m_nIndex; }

  // Called on the controlling thread while the worker is idle (followed by WaitUntilIdle):
  // keeps the FFT state when size and hint are unchanged, otherwise frees it.
  void SetOptions(const CAnalysisOptions& options);
  // Conversion, transform and level times are added to pSplit.
  void SetTimeSplit(CAnalysisTimeSplit* pSplit) { m_pTimeSplit = pSplit; }

 protected:
  void ProcessPacket(CBkgPacket& packet, int nQueuedBehind) override;

 private:
  void BuildState();
  void ReleaseState();
  // Replaces a provisional plan by the measured one once it is in the wisdom.
  void TakeMeasuredPlan();
  void Transform(CSampleBlock& block, CMessageTarget* pReplyWnd);
  void ConvertSamples(const std::uint8_t* pBlock, const BlockConversion::SBlockFormat& format);

  CAnalysisOptions m_options;
  bool m_bReady = false;
  float m_fReferenceLevel = 0.0f;
  const int m_nIndex;
  std::uint32_t m_nWindowLength = 0;
  std::uint32_t m_nFFTSize = 0;
  std::uint32_t m_eWindowInUse = 0;
  int m_nHintInUse = -1;
  CAlignedVector<float> m_workA;  // N complex: the spectrum
  CAlignedVector<float> m_workB;  // N complex: the transform's input, windowed samples
  const float* m_pWindow = nullptr;  // shared, owned by the controller
  CAnalysisTimeSplit* m_pTimeSplit = nullptr;
  CFFTWPlanF m_plan;
  std::uint64_t m_nPlanGeneration = 0;  // of the wisdom when the plan was made
  // Row records go out with every FFT block and come back freed by the controller; their
  // storage is reused instead of being faulted in afresh for every row.
  CBlockCache m_rowStorage{8};
};
