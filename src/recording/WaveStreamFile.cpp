#include "recording/WaveStreamFile.h"

#include <algorithm>

#include "core/Log.h"
#include "core/MessageTarget.h"

namespace {

void Emit(const CWaveStreamFile::LogFunction& log, const std::string& strLine) {
  if (log) log(strLine);
}

}  // namespace

bool CWaveStreamFile::Open(const std::filesystem::path& path, std::uint32_t nSkipBytes, CMessageTarget* pNotify,
                           const LogFunction& log, unsigned nNotifyMsg) {
  Close();
  m_path = path;
  Emit(log, StrFormat("%s> Opening", path.c_str()));
  bool bOk = false;
  if (const std::uint32_t nError = m_file.Open(path))
    Emit(log, StrFormat("Error: %s", MmioErrorText(nError).c_str()));
  else
    bOk = Position(nSkipBytes, log);
  if (!bOk) m_file.Close();
  if (pNotify) pNotify->Post(nNotifyMsg, m_fmt.wBitsPerSample, bOk ? 1 : 0);
  return bOk;
}

bool CWaveStreamFile::OpenMemory(const void* pData, std::size_t nSize, std::uint32_t nSkipBytes,
                                 CMessageTarget* pNotify, const LogFunction& log, unsigned nNotifyMsg) {
  Close();
  m_path = "(memory)";
  Emit(log, StrFormat("%s> Opening", m_path.c_str()));
  m_file.OpenMemory(pData, nSize);
  const bool bOk = Position(nSkipBytes, log);
  if (!bOk) m_file.Close();
  if (pNotify) pNotify->Post(nNotifyMsg, m_fmt.wBitsPerSample, bOk ? 1 : 0);
  return bOk;
}

void CWaveStreamFile::Close() {
  m_file.Close();
  m_fmt = CWaveFormat{};
  m_data = MMCKINFO{};
  m_nBytesPerSample = 0;
}

bool CWaveStreamFile::Position(std::uint32_t nSkipBytes, const LogFunction& log) {
  MMCKINFO riff;
  riff.fccType = FourCC("WAVE");
  if (m_file.Descend(riff, nullptr, MMIO_FINDRIFF)) {
    Emit(log, "'WAVE' header not found");
    return false;
  }
  MMCKINFO fmt;
  fmt.ckid = FourCC("fmt ");
  if (m_file.Descend(fmt, &riff, MMIO_FINDCHUNK)) {
    Emit(log, "'fmt' chunk not found");
    return false;
  }
  unsigned char fmtBytes[CWaveFormat::kStoredBytes] = {};
  const std::size_t nWanted = std::min<std::size_t>(fmt.cksize, sizeof fmtBytes);
  const std::int64_t nRead = m_file.Read(fmtBytes, nWanted);
  const std::uint64_t nInFile = m_file.Size() - std::min(m_file.Size(), fmt.dwDataOffset);
  if (nRead != static_cast<std::int64_t>(nWanted) || fmt.cksize > nInFile) Emit(log, "'fmt' chunk not read");
  m_fmt.FromBytes(fmtBytes, nRead > 0 ? static_cast<std::size_t>(nRead) : 0);
  m_file.Ascend(fmt);
  m_nBytesPerSample = m_fmt.wBitsPerSample / 8u;
  if (m_fmt.wBitsPerSample == 0) return false;
  m_data = MMCKINFO{};
  m_data.ckid = FourCC("data");
  if (m_file.Descend(m_data, &riff, MMIO_FINDCHUNK)) {
    Emit(log, "'data' chunk not found");
    return false;
  }
  if (nSkipBytes) {
    Emit(log, StrFormat("Seeking %u bytes from current position", nSkipBytes));
    if (m_file.Seek(nSkipBytes, SEEK_CUR) < 0) {
      Emit(log, StrFormat("Error seeking - %s", MmioErrorText(m_file.LastError()).c_str()));
      return false;
    }
  }
  return true;
}

std::uint64_t CWaveStreamFile::DataBytesLeft() const {
  if (!m_file.IsOpen()) return 0;
  const std::uint64_t nEnd = std::min<std::uint64_t>(m_data.dwDataOffset + m_data.cksize, m_file.Size());
  return nEnd > m_file.Position() ? nEnd - m_file.Position() : 0;
}
