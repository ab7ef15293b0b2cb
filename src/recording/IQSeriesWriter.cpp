#include "recording/IQSeriesWriter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <strings.h>
#include <system_error>

#include "core/Log.h"
#include "core/Paths.h"
#include "recording/DescriptionFile.h"
#include "recording/IQSampleConverter.h"
#include "recording/RiffFile.h"

namespace {
constexpr const char* kFirstSuffix = " 000";

std::int32_t Saturate(float v, float lo, float hi) { return static_cast<std::int32_t>(std::lrint(std::clamp(v, lo, hi))); }

void Store(CIQSeriesWriter::ESampleFormat eFormat, const std::complex<float>* p, std::size_t n, std::uint8_t* out) {
  const float* v = reinterpret_cast<const float*>(p);
  switch (eFormat) {
    case CIQSeriesWriter::ESampleFormat::INT16:
      for (std::size_t i = 0; i < 2 * n; ++i) {
        const auto s = static_cast<std::int16_t>(Saturate(v[i], -32768.0f, 32767.0f));
        std::memcpy(out + 2 * i, &s, 2);
      }
      break;
    case CIQSeriesWriter::ESampleFormat::INT24:
      for (std::size_t i = 0; i < 2 * n; ++i) {
        const std::int32_t s = Saturate(v[i] * 256.0f, -8388608.0f, 8388607.0f);
        out[3 * i] = static_cast<std::uint8_t>(s & 0xFF);
        out[3 * i + 1] = static_cast<std::uint8_t>((s >> 8) & 0xFF);
        out[3 * i + 2] = static_cast<std::uint8_t>((s >> 16) & 0xFF);
      }
      break;
    case CIQSeriesWriter::ESampleFormat::FLOAT32:
      std::memcpy(out, v, 2 * n * sizeof(float));
      break;
  }
}

}  // namespace

CIQSeriesWriter::~CIQSeriesWriter() { Close(); }

std::uint32_t CIQSeriesWriter::BitsPerSample(ESampleFormat eFormat) {
  switch (eFormat) {
    case ESampleFormat::INT16: return 16;
    case ESampleFormat::INT24: return 24;
    case ESampleFormat::FLOAT32: return 32;
  }
  return 16;
}

bool CIQSeriesWriter::IsFirstFileName(const std::string& strName) {
  constexpr std::size_t kLength = 8;  // " 000.wav"
  return strName.size() > kLength && strName.compare(strName.size() - kLength, 4, kFirstSuffix) == 0 &&
         strcasecmp(strName.c_str() + strName.size() - 4, ".wav") == 0;
}

std::filesystem::path CIQSeriesWriter::FilePath(const std::filesystem::path& firstFile, int n) {
  std::string name = firstFile.filename().string();
  if (!IsFirstFileName(name)) return firstFile;
  name.replace(name.size() - 7, 3, StrFormat("%03d", n));
  return firstFile.parent_path() / name;
}

bool CIQSeriesWriter::Fail(const std::string& strError) {
  m_strError = strError;
  return false;
}

bool CIQSeriesWriter::Open(const CSettings& settings) {
  Close();
  m_settings = settings;
  m_aWritten.clear();
  m_strError.clear();
  m_nFile = 0;
  m_nSamples = 0;
  if (!IsFirstFileName(settings.firstFile.filename().string()))
    return Fail(settings.firstFile.string() + ": the first file's name must end in \" 000.wav\"");
  if (settings.nSampleRate == 0) return Fail("the sample rate is 0");
  m_nBytesPerSample = 2 * BitsPerSample(settings.eFormat) / 8;
  if (settings.nMaxDataBytes < m_nBytesPerSample) return Fail("the file size limit is below one sample");
  m_bOpen = true;
  return OpenFile();
}

bool CIQSeriesWriter::OpenFile() {
  const std::filesystem::path path = FilePath(m_settings.firstFile, m_nFile);
  const std::uint16_t tag = m_settings.eFormat == ESampleFormat::FLOAT32 ? CIQSampleConverter::kFormatFloat
                                                                          : CIQSampleConverter::kFormatPCM;
  const CWaveFormat fmt =
      CWaveFormat::Linear(tag, 2, m_settings.nSampleRate, static_cast<std::uint16_t>(BitsPerSample(m_settings.eFormat)));
  if (const std::uint32_t nError = m_wave.Create(path, fmt)) {
    m_bOpen = false;
    return Fail(path.string() + ": " + MmioErrorText(nError));
  }
  m_nFileSamples = 0;
  return true;
}

bool CIQSeriesWriter::CloseFile() {
  if (!m_wave.IsOpen()) return true;
  const std::filesystem::path path = FilePath(m_settings.firstFile, m_nFile);
  const auto nDataBytes = static_cast<std::uint32_t>(m_wave.DataBytes());
  // The writer puts the file in place only when it is whole.
  if (const std::uint32_t nError = m_wave.Close()) return Fail(path.string() + ": " + MmioErrorText(nError));
  m_aWritten.push_back(path);

  CDescriptionFields fields;
  fields.strFirstFile = m_settings.firstFile.filename().string();
  const double tFile = m_settings.dStartUtc + static_cast<double>(m_nSamples - m_nFileSamples) / m_settings.nSampleRate;
  fields.tStartUtc = static_cast<std::int64_t>(std::floor(tFile));
  fields.nBytesPerSecond = m_settings.nSampleRate * m_nBytesPerSample;
  fields.nSampleRate = m_settings.nSampleRate;
  fields.nCenterFrequency = m_settings.nCenterFrequency;
  fields.nBitsPerSample = BitsPerSample(m_settings.eFormat);
  fields.nDataBytes = nDataBytes;
  std::filesystem::path xmlPath = path;
  xmlPath.replace_extension(".xml");
  if (!CDescriptionFile::Write(xmlPath, fields)) return Fail(xmlPath.string() + ": the description could not be written");
  m_aWritten.push_back(xmlPath);
  ++m_nFile;
  return true;
}

bool CIQSeriesWriter::Write(const std::complex<float>* pSamples, std::size_t nCount) {
  if (!m_bOpen) return Fail(m_strError.empty() ? "the series is not open" : m_strError);
  const std::uint64_t nPerFile = m_settings.nMaxDataBytes / m_nBytesPerSample;
  while (nCount > 0) {
    if (m_nFileSamples >= nPerFile) {
      if (!CloseFile() || !OpenFile()) {
        m_bOpen = false;
        return false;
      }
    }
    const std::size_t nPiece = static_cast<std::size_t>(std::min<std::uint64_t>(nCount, nPerFile - m_nFileSamples));
    m_abBuffer.resize(nPiece * m_nBytesPerSample);
    Store(m_settings.eFormat, pSamples, nPiece, m_abBuffer.data());
    if (!m_wave.Write(m_abBuffer.data(), m_abBuffer.size())) {
      m_bOpen = false;
      return Fail(FilePath(m_settings.firstFile, m_nFile).string() + ": " + MmioErrorText(MMIOERR_CANNOTWRITE));
    }
    m_nFileSamples += nPiece;
    m_nSamples += nPiece;
    pSamples += nPiece;
    nCount -= nPiece;
  }
  return true;
}

bool CIQSeriesWriter::Close() {
  if (!m_bOpen && !m_wave.IsOpen()) return m_strError.empty();
  m_bOpen = false;
  const bool bClosed = CloseFile();
  std::error_code ec;
  // A later file of an earlier series of this name would otherwise be read as part of this one.
  for (int n = m_nFile;; ++n) {
    const std::filesystem::path stale = FilePath(m_settings.firstFile, n);
    if (!std::filesystem::exists(stale, ec)) break;
    const bool bProtected = std::any_of(m_settings.aProtected.begin(), m_settings.aProtected.end(),
                                        [&](const std::filesystem::path& p) { return IsSameFile(p, stale); });
    if (bProtected) break;
    std::filesystem::remove(stale, ec);
    std::filesystem::path xml = stale;
    std::filesystem::remove(xml.replace_extension(".xml"), ec);
  }
  return bClosed;
}
