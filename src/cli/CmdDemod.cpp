// vexlor-cli demod: offline demodulation of one channel of a recording into a 48 kHz 16-bit
// mono WAV file, through the same chain the player uses, as fast as the machine allows.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <strings.h>
#include <string>
#include <vector>

#include "cli/CliOptions.h"
#include "cli/Commands.h"
#include "core/Log.h"
#include "core/QuantityText.h"
#include "core/SystemTime.h"
#include "dsp/DSPDemodMain.h"
#include "recording/RiffFile.h"
#include "recording/WaveFileData.h"
#include "recording/WaveFileWriter.h"
#include "recording/WaveStreamFile.h"

namespace {

constexpr std::uint16_t kFormatPCM = 1;
constexpr std::uint16_t kFormatFloat = 3;
constexpr std::uint16_t kFormatExtensible = 0xFFFE;

void PrintUsage() {
  std::fprintf(stderr,
               "usage: vexlor-cli demod FILE --freq HZ --mode NAME [--start TIME] [--seconds S]\n"
               "                         [--filter LO,HI] [--nr 0..3] [--nb] [--squelch LEVEL] -o OUT.wav\n"
               "  --start    \"YYYY-MM-DD HH:MM:SS\" (UTC) or seconds from the start of the recording\n"
               "  --seconds  how much to demodulate (default: to the end)\n"
               "  --filter   pass-band edges in Hz (default: suited to the mode)\n"
               "  --nr       noise reduction: 0 off, 1 Ephraim-Malah, 2 FIR LMS, 3 spectral subtraction\n"
               "  --nb       noise blanker\n"
               "  --squelch  squelch level 0..100\n");
}

std::string ModeList() {
  std::string list;
  for (int m = 0; m < eDemodModeCount; ++m) {
    if (m) list += ", ";
    list += CDSPDemodMain::ShortName(m);
  }
  return list;
}

// The player's rule: a short or long name, or "CW" for CW-U.
int ParseMode(const std::string& name) {
  const int mode = CDSPDemodMain::ModeFromName(name);
  if (mode >= 0) return mode;
  if (strcasecmp(name.c_str(), "cw") == 0) return eDemodCWU;
  return -1;
}


bool ParseFilter(const std::string& text, int& low, int& high) {
  const auto comma = text.find(',');
  if (comma == std::string::npos) return false;
  char* end = nullptr;
  const long a = std::strtol(text.c_str(), &end, 10);
  if (end != text.c_str() + comma) return false;
  const long b = std::strtol(text.c_str() + comma + 1, &end, 10);
  if (*end != '\0' || end == text.c_str() + comma + 1) return false;
  if (a < 0 || b < 0 || a > 10'000'000 || b > 10'000'000 || (a == 0 && b == 0)) return false;
  low = static_cast<int>(std::min(a, b));
  high = static_cast<int>(std::max(a, b));
  return true;
}

// Raw samples of one recording file to complex floats on the 16-bit scale, as the player
// converts them: 16-bit as is, 24-bit divided by 256, 32-bit float copied.
class CSampleConverter {
 public:
  bool Setup(const CWaveFormat& fmt) {
    m_nBits = fmt.wBitsPerSample;
    const bool pcm = fmt.wFormatTag == kFormatPCM || (fmt.wFormatTag == kFormatExtensible && m_nBits != 32);
    const bool flt = fmt.wFormatTag == kFormatFloat || (fmt.wFormatTag == kFormatExtensible && m_nBits == 32);
    m_bFloat = flt && m_nBits == 32;
    return (pcm && (m_nBits == 16 || m_nBits == 24)) || m_bFloat;
  }
  int BytesPerComplex() const { return m_nBits / 8 * 2; }

  void Convert(const unsigned char* raw, int count, std::complex<float>* out) const {
    for (int k = 0; k < count; ++k) out[k] = std::complex<float>(Value(raw, 2 * k), Value(raw, 2 * k + 1));
  }

 private:
  float Value(const unsigned char* raw, int index) const {
    if (m_bFloat) {
      float f;
      std::memcpy(&f, raw + 4 * index, 4);
      return f;
    }
    if (m_nBits == 16) {
      std::int16_t v;
      std::memcpy(&v, raw + 2 * index, 2);
      return v;
    }
    const unsigned char* p = raw + 3 * index;
    const std::int32_t v = static_cast<std::int32_t>(static_cast<std::uint32_t>(p[0]) << 8 |
                                                     static_cast<std::uint32_t>(p[1]) << 16 |
                                                     static_cast<std::uint32_t>(p[2]) << 24) >> 8;
    return static_cast<float>(v / 256.0);
  }

  int m_nBits = 0;
  bool m_bFloat = false;
};

// Rounded to nearest with halves away from zero, saturated, as the player converts audio.
std::int16_t ToPcm16(float v) {
  const long r = std::lround(static_cast<double>(v));
  return static_cast<std::int16_t>(std::clamp(r, -32768L, 32767L));
}

double ThreadCpuSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + ts.tv_nsec * 1e-9;
}

}  // namespace

int RunDemod(const CliArgs& args) {
  CCliOptions options("demod", {"freq", "mode", "start", "seconds", "filter", "nr", "squelch", "o"}, {"nb"});
  if (!options.Parse(args)) {
    PrintUsage();
    return 2;
  }
  if (options.Positional().size() != 1 || !options.Has("o") || !options.Has("freq") || !options.Has("mode")) {
    options.Error("needs FILE, --freq, --mode and -o");
    PrintUsage();
    return 2;
  }
  const std::string input = options.Positional()[0];
  const std::string output = *options.Value("o");

  const std::string modeName = *options.Value("mode");
  const int mode = ParseMode(modeName);
  if (mode < 0) {
    options.Error("unknown mode \"" + modeName + "\" (modes: " + ModeList() + ", or their long names)");
    return 1;
  }
  double freqHz = 0.0;
  if (!options.GetDouble("freq", freqHz)) return 1;
  std::int64_t nr = 0;
  if (!options.GetInt64("nr", nr)) return 1;
  if (nr < 0 || nr > 3) {
    options.Error("--nr must be 0, 1, 2 or 3");
    return 1;
  }
  std::int64_t squelch = -1;
  if (!options.GetInt64("squelch", squelch)) return 1;
  if (options.Has("squelch") && (squelch < 0 || squelch > 100)) {
    options.Error("--squelch must be between 0 and 100");
    return 1;
  }

  CDSPDemodMain chain;
  int low = 0, high = 0;
  CDSPDemodMain::DefaultPassBand(mode, chain.CWPitch(), low, high);
  if (auto f = options.Value("filter"); f && !ParseFilter(*f, low, high)) {
    options.Error("--filter: \"" + *f + "\" is not LO,HI in Hz");
    return 1;
  }

  CRecordingDescription desc;
  CWaveFileData data;
  if (!data.GetInformation(input, true, desc) || !desc.m_bValid || desc.m_nFiles == 0) {
    options.Error(input + ": " + (data.FailureText().empty() ? "not a recording" : data.FailureText()));
    return 1;
  }
  const std::uint32_t rate = desc.m_nSampleRate ? desc.m_nSampleRate : desc.m_nFmtSampleRate;
  if (rate == 0 || desc.m_nBitsPerSample == 0) {
    options.Error(input + ": the recording has no sample rate");
    return 1;
  }
  const double offsetHz = freqHz - static_cast<double>(desc.m_nCenterFrequency);
  if (std::fabs(offsetHz) >= rate / 2) {
    options.Error(StrFormat("%.0f Hz is outside the recording's band (%.0f .. %.0f Hz)", freqHz,
                            desc.m_nCenterFrequency - rate / 2.0, desc.m_nCenterFrequency + rate / 2.0));
    return 1;
  }

  const std::uint64_t bytesPerComplex = desc.m_nBitsPerSample / 8 * 2;
  const std::uint64_t totalSamples = desc.TotalBytes() / bytesPerComplex;
  const double duration = static_cast<double>(totalSamples) / rate;
  double startSeconds = 0.0;
  if (auto s = options.Value("start")) {
    std::string strError;
    if (!ParseRecordingTimeText(*s, desc.m_tStart, startSeconds, strError)) {
      options.Error("--start: " + strError);
      return 1;
    }
    if (startSeconds < 0.0 || startSeconds >= duration) {
      options.Error(StrFormat("--start is outside the recording (%s .. %s UTC, %.1f s)",
                              FormatUtcSeconds(desc.m_tStart).c_str(), FormatUtcSeconds(desc.m_tEnd).c_str(),
                              duration));
      return 1;
    }
  }
  double seconds = duration - startSeconds;
  if (options.Has("seconds")) {
    if (!options.GetDouble("seconds", seconds)) return 1;
    if (!(seconds > 0.0)) {
      options.Error("--seconds must be above 0");
      return 1;
    }
    seconds = std::min(seconds, duration - startSeconds);
  }
  std::uint64_t samplesLeft = static_cast<std::uint64_t>(seconds * rate);

  // The file and the byte offset where the start lies.
  std::uint64_t skip = static_cast<std::uint64_t>(startSeconds * rate) * bytesPerComplex;
  std::uint32_t fileIndex = 0;
  while (fileIndex < desc.m_nFiles && skip >= desc.m_anFileSizes[fileIndex]) skip -= desc.m_anFileSizes[fileIndex++];

  chain.SetTuningOffset(static_cast<int>(std::lround(offsetHz)));
  chain.SetMode(mode);
  chain.SetPassBand(low, high, mode, chain.IFRate());
  chain.SetNoiseReduction(static_cast<int>(nr));
  chain.SetNoiseBlanker(options.Has("nb"));
  if (squelch >= 0) chain.SetSquelch(true, static_cast<int>(squelch));
  // Blocks as long as the chain takes whole: a recording far below 48 kHz (or below the IF
  // rate) makes more audio than the chain's buffers hold from a full 32,768-sample block.
  const int blockSamples = chain.MaxBlockSamples(static_cast<int>(rate));
  if (blockSamples <= 0) {
    options.Error(StrFormat("%s: a sample rate of %u Hz cannot be demodulated", input.c_str(), rate));
    return 1;
  }

  const CWaveFormat outFormat = CWaveFormat::Linear(kFormatPCM, 1, CDSPDemodMain::kOutputRate, 16);
  CWaveFileWriter writer;
  if (const std::uint32_t code = writer.Create(output, outFormat)) {
    options.Error(output + ": " + MmioErrorText(code));
    return 1;
  }

  const auto logToFile = [](const std::string& line) { LogLine(line); };
  std::vector<unsigned char> raw;
  std::vector<std::complex<float>> block(static_cast<std::size_t>(blockSamples));
  std::vector<std::int16_t> pcm;
  std::uint64_t samplesIn = 0;
  std::uint64_t samplesOut = 0;
  double cpuSeconds = 0.0;
  const auto wallStart = std::chrono::steady_clock::now();
  // Writes the first n samples of the chain's output.
  const auto writeOutput = [&](int n) {
    pcm.resize(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k) pcm[k] = ToPcm16(chain.Output()[k]);
    if (n > 0 && !writer.Write(pcm.data(), pcm.size() * sizeof(std::int16_t))) {
      options.Error(output + ": write error");
      return false;
    }
    samplesOut += static_cast<std::uint64_t>(n);
    return true;
  };

  for (; fileIndex < desc.m_nFiles && samplesLeft > 0; ++fileIndex, skip = 0) {
    const std::string& path = desc.m_astrFileNames[fileIndex];
    CWaveStreamFile file;
    skip -= skip % bytesPerComplex;
    if (!file.Open(path, static_cast<std::uint32_t>(skip), nullptr, logToFile)) {
      options.Error(path + ": cannot be opened as a WAVE file (see the log for why)");
      return 1;
    }
    CSampleConverter converter;
    if (!converter.Setup(file.Format())) {
      options.Error(StrFormat("%s: unsupported sample format (format tag %u, %u bits)", path.c_str(),
                              file.Format().wFormatTag, file.Format().wBitsPerSample));
      return 1;
    }
    const int bpc = converter.BytesPerComplex();
    raw.resize(static_cast<std::size_t>(blockSamples) * bpc);
    std::size_t carried = 0;  // bytes of an incomplete sample left from the last read
    while (samplesLeft > 0) {
      const std::int64_t got = file.Read(raw.data() + carried, raw.size() - carried);
      if (got < 0) {
        options.Error(path + ": read error");
        return 1;
      }
      if (got == 0) break;
      const std::size_t bytes = carried + static_cast<std::size_t>(got);
      int count = static_cast<int>(bytes / bpc);
      count = static_cast<int>(std::min<std::uint64_t>(count, samplesLeft));
      converter.Convert(raw.data(), count, block.data());
      carried = bytes - static_cast<std::size_t>(count) * bpc;
      std::memmove(raw.data(), raw.data() + static_cast<std::size_t>(count) * bpc, carried);
      if (count == 0) continue;

      const double cpu0 = ThreadCpuSeconds();
      chain.ProcessBlock(block.data(), count, static_cast<int>(rate));
      cpuSeconds += ThreadCpuSeconds() - cpu0;
      samplesIn += count;
      samplesLeft -= count;

      if (!writeOutput(chain.OutputCount())) return 1;
    }
  }
  // The chain holds back what its filters delay; silence pushed through after the last
  // block brings it out, so the audio lasts exactly as long as the recording read.
  const std::uint64_t wanted = static_cast<std::uint64_t>(
      std::llround(static_cast<double>(samplesIn) / rate * CDSPDemodMain::kOutputRate));
  std::fill(block.begin(), block.end(), std::complex<float>{});
  for (int flushed = 0; samplesOut < wanted && flushed < 4 * static_cast<int>(rate); flushed += blockSamples) {
    chain.ProcessBlock(block.data(), blockSamples, static_cast<int>(rate));
    const std::uint64_t n = std::min<std::uint64_t>(chain.OutputCount(), wanted - samplesOut);
    if (!writeOutput(static_cast<int>(n))) return 1;
  }
  if (const std::uint32_t code = writer.Close()) {
    options.Error(output + ": " + MmioErrorText(code));
    return 1;
  }
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
  const double inSeconds = static_cast<double>(samplesIn) / rate;
  std::printf("%s: %s at %.0f Hz (offset %+.0f Hz, pass band %d..%d Hz), %.2f s of recording from %.2f s\n",
              output.c_str(), CDSPDemodMain::LongName(mode), freqHz, offsetHz, low, high, inSeconds, startSeconds);
  std::printf("wrote %llu samples (%.2f s at 48000 Hz); demodulation %.1fx real time on one core (%.2f s wall)\n",
              static_cast<unsigned long long>(samplesOut), samplesOut / 48000.0,
              cpuSeconds > 0.0 ? inSeconds / cpuSeconds : 0.0, wall);
  return 0;
}
