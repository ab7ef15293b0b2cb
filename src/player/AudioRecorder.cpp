#include "player/AudioRecorder.h"

#include <algorithm>
#include <cctype>
#include <chrono>

#include "core/Log.h"
#include "core/SystemTime.h"
#include "dsp/DSPDemodMain.h"
#include "persist/XMLMgr.h"

namespace {

std::int64_t NowUtcSeconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

bool EndsWithIgnoringCase(const std::string& strText, const std::string& strEnd) {
  if (strText.size() < strEnd.size()) return false;
  return std::equal(strEnd.begin(), strEnd.end(), strText.end() - static_cast<std::ptrdiff_t>(strEnd.size()),
                    [](char a, char b) {
                      return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
                    });
}

}  // namespace

CAudioRecorder::~CAudioRecorder() { Stop(); }

void CAudioRecorder::SetMetadata(int nSlot, const std::string& strText) {
  if (nSlot < 0 || nSlot >= kMetadataSlots || nSlot == kUnusedSlot) return;
  m_astrSlots[nSlot] = strText;
}

std::string CAudioRecorder::Metadata(int nSlot) const {
  if (nSlot < 0 || nSlot >= kMetadataSlots) return {};
  return m_astrSlots[nSlot];
}

CAudioTags CAudioRecorder::Tags() const {
  CAudioTags tags;
  tags.m_strTitle = m_astrSlots[0];
  tags.m_strArtist = m_astrSlots[1];
  tags.m_strAlbum = m_astrSlots[2];
  tags.m_strYear = m_astrSlots[4];
  tags.m_strComment = m_astrSlots[5];
  tags.m_strGenre = m_astrSlots[6];
  tags.m_strTrack = m_astrSlots[7];
  return tags;
}

std::filesystem::path CAudioRecorder::DescriptionPath(const std::filesystem::path& audioPath) {
  std::filesystem::path path = audioPath;
  return path.replace_extension(".xml");
}

bool CAudioRecorder::Start(int eFormat, const std::filesystem::path& folder, const std::string& strFileName,
                           const CAudioRecordingContext& context, std::string& strError) {
  Stop();
  m_bEndedByError = false;
  m_nSamples = 0;
  std::unique_ptr<CAudioFileWriter> pWriter;
  switch (eFormat) {
    case AUDIO_RECORD_WAV:
      pWriter = CreateWavAudioWriter();
      m_strFormat = "WAV";
      break;
    case AUDIO_RECORD_MP3:
      pWriter = CreateMp3AudioWriter();
      m_strFormat = "MP3";
      break;
    case AUDIO_RECORD_WMA:
      strError = "WMA recording is not available: choose WAV or MP3";
      return false;
    default:
      strError = StrFormat("Unknown recording format %d", eFormat);
      return false;
  }
  m_tStart = NowUtcSeconds();
  std::string strName = strFileName;
  if (strName.empty()) strName = "Vexlor " + FormatUtcSeconds(m_tStart, "%Y-%m-%d %H-%M-%S") + " UTC";
  if (!EndsWithIgnoringCase(strName, pWriter->Extension())) strName += pWriter->Extension();
  m_path = folder / strName;
  m_context = context;
  if (!pWriter->Create(m_path, Tags(), strError)) return false;
  m_pWriter = std::move(pWriter);
  return true;
}

bool CAudioRecorder::Write(const std::int16_t* pSamples, std::size_t nCount) {
  if (!m_pWriter) return false;
  if (!m_pWriter->Write(pSamples, nCount)) {
    Finish(true);
    return false;
  }
  m_nSamples += nCount;
  return true;
}

void CAudioRecorder::Stop() {
  if (m_pWriter) Finish(false);
}

void CAudioRecorder::Finish(bool bError) {
  m_pWriter->Close();
  m_pWriter.reset();
  m_tEnd = NowUtcSeconds();
  m_bEndedByError = bError;
  WriteDescription();
}

void CAudioRecorder::WriteDescription() const {
  const auto Int = [](long long n) { return StrFormat("%lld", n); };
  CXMLMgr xml;
  xml.SetEncodingUTF8(true);
  xml.AddProcessingInstruction();
  const std::filesystem::path xmlPath = DescriptionPath(m_path);
  xml.AddHeaderComment(xmlPath.filename().string());
  const pugi::xml_node root = xml.CreateRootElement(
      "Brannock-Vexlor", {{"Description", "Audio recording"}, {"Created", FormatUtcSeconds(m_tEnd)}}, true);
  const CAudioTags tags = Tags();
  xml.CreateElement(root, "AudioRecording",
                    {{"m_strFileName", m_path.filename().string()},
                     {"m_strFormat", m_strFormat},
                     {"m_nSampleRate", "48000"},
                     {"m_nBitsPerSample", "16"},
                     {"m_nChannels", "1"},
                     {"m_tStart", Int(m_tStart)},
                     {"m_strStartUTC", FormatUtcSeconds(m_tStart)},
                     {"m_tEnd", Int(m_tEnd)},
                     {"m_strEndUTC", FormatUtcSeconds(m_tEnd)},
                     {"m_nSamples", Int(static_cast<long long>(m_nSamples))},
                     {"m_dDuration", StrFormat("%.3f", static_cast<double>(m_nSamples) / 48000.0)},
                     {"m_bEndedByError", m_bEndedByError ? "1" : "0"},
                     {"m_strSourceFile", m_context.m_strSourceFile},
                     {"m_nTuningOffset", Int(m_context.m_nTuningOffset)},
                     {"m_nMode", Int(m_context.m_nMode)},
                     {"m_strMode", CDSPDemodMain::LongName(m_context.m_nMode)},
                     {"m_nFilterLow", Int(m_context.m_nFilterLow)},
                     {"m_nFilterHigh", Int(m_context.m_nFilterHigh)},
                     {"m_strTitle", tags.m_strTitle},
                     {"m_strArtist", tags.m_strArtist},
                     {"m_strAlbum", tags.m_strAlbum},
                     {"m_strYear", tags.m_strYear},
                     {"m_strComment", tags.m_strComment},
                     {"m_strGenre", tags.m_strGenre},
                     {"m_strTrack", tags.m_strTrack}});
  xml.Save(xmlPath);
}
