// The MP3 writer of the audio recorder: LAME, constant 96 kbit/s mono at 48 000 Hz, with the
// tags as an ID3v2 tag in UTF-16 (so any text survives). Constant bit rate needs no header
// rewritten at the end, so a file cut short by a write error still plays.

#include <lame/lame.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/AtomicFile.h"
#include "player/AudioFileWriter.h"

namespace {

constexpr int kBitRateKbps = 96;
// LAME's own rule for the worst-case output of one call: 1.25 x samples + 7200 bytes.
std::size_t Mp3BufferSize(std::size_t nSamples) { return nSamples + nSamples / 4 + 7200; }

// UTF-8 to UTF-16 with a byte-order mark and a terminating 0, as LAME's ID3v2 calls want.
// Malformed bytes become U+FFFD.
std::vector<unsigned short> Utf16WithBom(const std::string& strText) {
  std::vector<unsigned short> aOut{0xFEFF};
  const auto* p = reinterpret_cast<const unsigned char*>(strText.data());
  const auto* pEnd = p + strText.size();
  while (p < pEnd) {
    std::uint32_t c = *p++;
    int nMore = 0;
    if (c >= 0xF0 && c < 0xF8) { c &= 0x07; nMore = 3; }
    else if (c >= 0xE0) { c &= 0x0F; nMore = 2; }
    else if (c >= 0xC0) { c &= 0x1F; nMore = 1; }
    else if (c >= 0x80) { c = 0xFFFD; }
    for (; nMore > 0; --nMore) {
      if (p >= pEnd || (*p & 0xC0) != 0x80) { c = 0xFFFD; break; }
      c = (c << 6) | (*p++ & 0x3F);
    }
    if (c >= 0x10000) {
      c -= 0x10000;
      aOut.push_back(static_cast<unsigned short>(0xD800 + (c >> 10)));
      aOut.push_back(static_cast<unsigned short>(0xDC00 + (c & 0x3FF)));
    } else {
      aOut.push_back(static_cast<unsigned short>(c));
    }
  }
  aOut.push_back(0);
  return aOut;
}

class CMp3AudioWriter final : public CAudioFileWriter {
 public:
  ~CMp3AudioWriter() override { Close(); }

  bool Create(const std::filesystem::path& path, const CAudioTags& tags, std::string& strError) override {
    Close();
    m_pLame = lame_init();
    if (!m_pLame) {
      strError = "The MP3 encoder could not be started";
      return false;
    }
    lame_set_in_samplerate(m_pLame, 48000);
    lame_set_out_samplerate(m_pLame, 48000);
    lame_set_num_channels(m_pLame, 1);
    lame_set_mode(m_pLame, MONO);
    lame_set_brate(m_pLame, kBitRateKbps);
    lame_set_quality(m_pLame, 5);
    lame_set_bWriteVbrTag(m_pLame, 0);
    id3tag_init(m_pLame);
    id3tag_v2_only(m_pLame);
    SetText("TIT2", tags.m_strTitle);
    SetText("TPE1", tags.m_strArtist);
    SetText("TALB", tags.m_strAlbum);
    SetText("TYER", tags.m_strYear);
    SetText("TCON", tags.m_strGenre);
    SetText("TRCK", tags.m_strTrack);
    if (!tags.m_strComment.empty()) {
      const auto aDesc = Utf16WithBom("");
      const auto aText = Utf16WithBom(tags.m_strComment);
      id3tag_set_comment_utf16(m_pLame, "eng", aDesc.data(), aText.data());
    }
    if (lame_init_params(m_pLame) < 0) {
      strError = "The MP3 encoder refused its settings";
      Release();
      return false;
    }
    // Written atomically: the file appears when the recording closes, so a kill leaves no
    // half file; a recording cut short by a full disk keeps the audio that was written.
    if (!m_file.Open(path)) {
      strError = m_file.ErrorText();
      Release();
      return false;
    }
    m_bFailed = false;
    return true;
  }

  bool Write(const std::int16_t* pSamples, std::size_t nCount) override {
    if (m_bFailed || !m_file.IsOpen()) return false;
    m_abOut.resize(Mp3BufferSize(nCount));
    // Mono: LAME reads the left channel only.
    const int nBytes = lame_encode_buffer(m_pLame, const_cast<short*>(pSamples), const_cast<short*>(pSamples),
                                          static_cast<int>(nCount), m_abOut.data(),
                                          static_cast<int>(m_abOut.size()));
    return Put(nBytes);
  }

  void Close() override {
    if (m_file.IsOpen()) {
      if (!m_bFailed) {
        m_abOut.resize(Mp3BufferSize(0));
        Put(lame_encode_flush(m_pLame, m_abOut.data(), static_cast<int>(m_abOut.size())));
      }
      m_file.Commit();
    }
    Release();
  }

  const char* Extension() const override { return ".mp3"; }

 private:
  void SetText(const char* pszId, const std::string& strText) {
    if (strText.empty()) return;
    const auto aText = Utf16WithBom(strText);
    id3tag_set_textinfo_utf16(m_pLame, pszId, aText.data());
  }

  bool Put(int nBytes) {
    if (nBytes < 0) {
      m_bFailed = true;
      return false;
    }
    // Unbuffered, so that a full disk is noticed at the write that hit it.
    if (nBytes > 0 && !m_file.Write(m_abOut.data(), static_cast<std::size_t>(nBytes))) m_bFailed = true;
    return !m_bFailed;
  }

  void Release() {
    if (m_pLame) lame_close(m_pLame);
    m_pLame = nullptr;
  }

  lame_t m_pLame = nullptr;
  CAtomicFile m_file;
  std::vector<unsigned char> m_abOut;
  bool m_bFailed = false;
};

}  // namespace

std::unique_ptr<CAudioFileWriter> CreateMp3AudioWriter() { return std::make_unique<CMp3AudioWriter>(); }
