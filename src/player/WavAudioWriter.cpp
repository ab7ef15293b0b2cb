// The WAV writer of the audio recorder: PCM 16-bit mono 48 000 Hz through the recording's
// RIFF writer, with the tags as a "LIST"/"INFO" chunk before the samples.
//
// The RIFF writer is buffered, so after a failed write (disk full, a size limit) the chunk
// sizes it writes on closing may claim more than reached the disk. The file is then put
// right from what is really there: cut to whole samples, 'data' and RIFF sizes rewritten.

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "player/AudioFileWriter.h"
#include "recording/RiffFile.h"
#include "recording/WaveFileWriter.h"

namespace {

void AppendInfo(std::string& strList, const char* pszId, const std::string& strText) {
  if (strText.empty()) return;
  const std::uint32_t nSize = static_cast<std::uint32_t>(strText.size() + 1);
  strList.append(pszId, 4);
  for (int i = 0; i < 4; ++i) strList.push_back(static_cast<char>((nSize >> (8 * i)) & 0xFF));
  strList += strText;
  strList.push_back('\0');
  if (nSize & 1) strList.push_back('\0');
}

std::string InfoList(const CAudioTags& tags) {
  std::string strList = "INFO";
  AppendInfo(strList, "INAM", tags.m_strTitle);
  AppendInfo(strList, "IART", tags.m_strArtist);
  AppendInfo(strList, "IPRD", tags.m_strAlbum);
  AppendInfo(strList, "ICRD", tags.m_strYear);
  AppendInfo(strList, "ICMT", tags.m_strComment);
  AppendInfo(strList, "IGNR", tags.m_strGenre);
  AppendInfo(strList, "ITRK", tags.m_strTrack);
  AppendInfo(strList, "ISFT", "Vexlor");
  return strList;
}

bool PutLE32(int fd, off_t nOffset, std::uint32_t nValue) {
  unsigned char b[4];
  for (int i = 0; i < 4; ++i) b[i] = static_cast<unsigned char>((nValue >> (8 * i)) & 0xFF);
  return ::pwrite(fd, b, 4, nOffset) == 4;
}

// Makes the sizes of a WAV file agree with the bytes it really holds.
void RepairSizes(const std::filesystem::path& path) {
  std::uint64_t nDataOffset = 0;
  {
    CRiffFile file;
    if (file.Open(path)) return;
    MMCKINFO riff;
    riff.fccType = FourCC("WAVE");
    if (file.Descend(riff, nullptr, MMIO_FINDRIFF)) return;
    MMCKINFO data;
    data.ckid = FourCC("data");
    if (file.Descend(data, &riff, MMIO_FINDCHUNK)) return;
    nDataOffset = data.dwDataOffset;
  }
  const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return;
  const off_t nFileSize = ::lseek(fd, 0, SEEK_END);
  if (nFileSize >= static_cast<off_t>(nDataOffset)) {
    const std::uint64_t nData = (static_cast<std::uint64_t>(nFileSize) - nDataOffset) & ~std::uint64_t{1};
    const std::uint64_t nEnd = nDataOffset + nData;
    if (::ftruncate(fd, static_cast<off_t>(nEnd)) == 0) {
      PutLE32(fd, static_cast<off_t>(nDataOffset - 4), static_cast<std::uint32_t>(nData));
      PutLE32(fd, 4, static_cast<std::uint32_t>(nEnd - 8));
    }
  }
  ::close(fd);
}

class CWavAudioWriter final : public CAudioFileWriter {
 public:
  ~CWavAudioWriter() override { Close(); }

  bool Create(const std::filesystem::path& path, const CAudioTags& tags, std::string& strError) override {
    const CWaveFormat fmt = CWaveFormat::Linear(1, 1, 48000, 16);
    m_path = path;
    m_bFailed = false;
    m_writer.SetKeepPartialOnError(true);
    if (const std::uint32_t nError = m_writer.Create(path, fmt, {{FourCC("LIST"), InfoList(tags)}})) {
      strError = MmioErrorText(nError);
      return false;
    }
    return true;
  }

  bool Write(const std::int16_t* pSamples, std::size_t nCount) override {
    if (m_bFailed || !m_writer.IsOpen()) return false;
    // The samples are little-endian in the file, as in memory on this platform.
    if (!m_writer.Write(pSamples, nCount * sizeof(std::int16_t))) m_bFailed = true;
    return !m_bFailed;
  }

  void Close() override {
    if (!m_writer.IsOpen()) return;
    const std::uint32_t nError = m_writer.Close();
    if (m_bFailed || nError) RepairSizes(m_path);
  }

  const char* Extension() const override { return ".wav"; }

 private:
  CWaveFileWriter m_writer;
  std::filesystem::path m_path;
  bool m_bFailed = false;
};

}  // namespace

std::unique_ptr<CAudioFileWriter> CreateWavAudioWriter() { return std::make_unique<CWavAudioWriter>(); }
