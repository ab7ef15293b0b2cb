#include "recording/WaveFileWriter.h"

CWaveFileWriter::~CWaveFileWriter() { Close(); }

std::uint32_t CWaveFileWriter::Create(const std::filesystem::path& path, const CWaveFormat& fmt,
                                      const std::vector<ExtraChunk>& extraChunks) {
  Close();
  m_nDataBytes = 0;
  if (const std::uint32_t nError = m_file.Open(path, CRiffFile::EMode::Create)) return nError;
  const auto fail = [this](std::uint32_t nError) {
    m_file.Abandon();
    return nError ? nError : static_cast<std::uint32_t>(MMIOERR_CANNOTWRITE);
  };
  m_riff = MMCKINFO{};
  m_riff.fccType = FourCC("WAVE");
  if (const std::uint32_t nError = m_file.CreateChunk(m_riff, MMIO_CREATERIFF)) return fail(nError);

  MMCKINFO fmtChunk;
  fmtChunk.ckid = FourCC("fmt ");
  unsigned char fmtBytes[16];
  fmt.ToBytes16(fmtBytes);
  if (const std::uint32_t nError = m_file.CreateChunk(fmtChunk, 0)) return fail(nError);
  if (m_file.Write(fmtBytes, sizeof fmtBytes) != sizeof fmtBytes) return fail(MMIOERR_CANNOTWRITE);
  if (const std::uint32_t nError = m_file.Ascend(fmtChunk)) return fail(nError);

  for (const auto& [id, bytes] : extraChunks) {
    MMCKINFO chunk;
    chunk.ckid = id;
    // A "LIST" chunk's bytes begin with its list type ("INFO" ...), which the chunk header
    // itself carries.
    std::size_t nSkip = 0;
    if (id == FourCC("LIST") && bytes.size() >= 4) {
      chunk.fccType = MakeFourCC(bytes[0], bytes[1], bytes[2], bytes[3]);
      nSkip = 4;
    }
    if (const std::uint32_t nError = m_file.CreateChunk(chunk, 0)) return fail(nError);
    const std::size_t nBody = bytes.size() - nSkip;
    if (m_file.Write(bytes.data() + nSkip, nBody) != static_cast<std::int64_t>(nBody))
      return fail(MMIOERR_CANNOTWRITE);
    if (const std::uint32_t nError = m_file.Ascend(chunk)) return fail(nError);
  }

  m_data = MMCKINFO{};
  m_data.ckid = FourCC("data");
  if (const std::uint32_t nError = m_file.CreateChunk(m_data, 0)) return fail(nError);
  return 0;
}

bool CWaveFileWriter::Write(const void* pData, std::size_t nBytes) {
  if (!m_file.IsOpen()) return false;
  // The form's size field must still hold the headers and the data.
  if (m_file.Position() + nBytes > UINT32_MAX - 8) return false;
  if (m_file.Write(pData, nBytes) != static_cast<std::int64_t>(nBytes)) return false;
  m_nDataBytes += nBytes;
  return true;
}

std::uint32_t CWaveFileWriter::Close() {
  if (!m_file.IsOpen()) return 0;
  std::uint32_t nError = m_file.Ascend(m_data);
  if (!nError) nError = m_file.Ascend(m_riff);
  const std::uint32_t nCloseError = m_file.Close();
  return nError ? nError : nCloseError;
}
