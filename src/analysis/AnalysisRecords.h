#pragma once
// The records that travel between the run controller, the reader, the forwarder and the
// FFT workers: file I/O buffers, sample blocks, row records and the FFT packet.

#include <atomic>
#include <cstdint>
#include <memory>

#include "analysis/BlockCache.h"
#include "core/BkgPacket.h"
#include "core/MessageTarget.h"

// One of the controller's file I/O buffers. It is touched by one party at a time and
// handed on with its in-use flag: controller (sets it) → reader (fills) → controller
// (RegMsgSDR::nMsgFileRead) → forwarder (empties, clears the flag).
struct CFileIOBuffer {
  // The bytes; allocated by the reader for each read, freed by the forwarder after use.
  CBlock m_pData;
  std::uint16_t m_nFormatTag = 0;      // of the file the bytes came from
  std::uint16_t m_nBitsPerSample = 0;  // of one I or Q value
  std::uint32_t m_nBufferNumber = 0;   // 0 .. 9
  std::uint32_t m_nReserved = 0;       // always zero
  std::uint32_t m_nForwardSize = 0;    // max(N, 16,777,216) · 8; the staging buffer is twice this
  std::uint32_t m_nAllocationSize = 0; // max(N, 8,388,608) · 8 bytes
  std::uint32_t m_nBytesRead = 0;
  std::uint32_t m_nValuesToRead = 0;   // max(N, 8,388,608) · 2 I and Q values
  std::atomic<std::uint32_t> m_bInUse{0};
  std::uint32_t m_bSuccess = 0;        // 1 when a file was still open after the read

  // Sizes for an FFT size of nFFTSize.
  void Prepare(std::uint32_t nNumber, std::uint32_t nFFTSize);
  void FreeData() { m_pData.reset(); }
};

// Raw bytes of consecutive FFT blocks, each N complex samples in the file's own layout
// (I then Q, little-endian): block k starts m_nOffset + k · m_nStepBytes bytes into the data,
// so blocks overlap when the step is shorter than a block. Made by the forwarder (the data
// is a file I/O buffer's own, or copies of blocks that ran across two buffers), transformed
// by one FFT worker, freed by the controller after RegMsgSDR::nMsgFFTBuff.
struct CSampleBlock final : CMessagePayload {
  CBlock m_pData;
  std::uint16_t m_nFormatTag = 0;
  std::uint16_t m_nBitsPerSample = 0;
  std::uint32_t m_nFirstRow = 0;   // global number of the first FFT block
  std::uint32_t m_nOffset = 0;     // bytes before the first FFT block
  std::uint32_t m_nStepBytes = 0;  // from one FFT block's start to the next
  std::uint32_t m_nBlockCount = 0;
};

// One spectrum row: N + 6 floats. The first 6 are a header, zero as posted; then N levels
// in dB relative to the reference level, from the lowest frequency to the highest
// (element 6 + j holds FFT bin (j + N/2) mod N).
struct CRowRecord final : CMessagePayload {
  static constexpr std::uint32_t kHeaderFloats = 6;

  // The storage comes from pCache when one is given (an FFT worker's rows are freed on the
  // controlling thread and taken again for the next row).
  explicit CRowRecord(std::uint32_t nFFTSize, CBlockCache* pCache = nullptr);
  std::uint32_t FFTSize() const { return m_nValues - kHeaderFloats; }
  // All N + 6 floats, header first.
  float* Values() { return reinterpret_cast<float*>(m_pStorage.get()); }
  const float* Values() const { return reinterpret_cast<const float*>(m_pStorage.get()); }
  float* Levels() { return Values() + kHeaderFloats; }
  const float* Levels() const { return Values() + kHeaderFloats; }

  CBlock m_pStorage;
  std::uint32_t m_nValues = 0;
};

// PKT_FFT: owns its sample block until the FFT worker takes it; a packet that is never
// processed (shutdown) frees its block with itself.
class CFFTPacket final : public CBkgPacket {
 public:
  CFFTPacket(std::unique_ptr<CSampleBlock> pBlock, CMessageTarget* pReplyWnd)
      : CBkgPacket(PKT_FFT, pReplyWnd, 0, 0, pBlock.get()), m_pBlock(std::move(pBlock)) {}
  std::unique_ptr<CSampleBlock> TakeBlock() {
    m_pPayload = nullptr;
    return std::move(m_pBlock);
  }

 private:
  std::unique_ptr<CSampleBlock> m_pBlock;
};
