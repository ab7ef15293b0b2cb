// libFuzzer target: the command-line value parsers. The input is the text a user gives as an
// option's value; it goes through every parser of the command-line tools: frequencies,
// times (calendar and seconds), whole numbers and numbers, pass bands ("--filter LO,HI"),
// repeat ranges ("--repeat START,END"), the recording facts (--centre-freq, --start-time)
// and the picture options (--palette, --scale, --contrast, --fit-height). Whatever a parser
// accepts must be a value its command can use: finite, in range, in order.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cli/CliOptions.h"
#include "cli/PictureOptions.h"
#include "core/Log.h"
#include "recording/RecordingDescription.h"

namespace {

void Check(bool bHolds) {
  if (!bHolds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  SetLogFilePath({});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
  // An argument cannot hold a NUL byte: the value ends there, as it would on a command line.
  std::string text(reinterpret_cast<const char*>(pData), nSize);
  text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));

  static const char* const kNames[] = {"freq", "start", "seconds", "fft", "filter", "repeat", "centre-freq",
                                       "start-time", "palette", "scale", "contrast", "fit-height"};
  CCliOptions cli("fuzz", {std::begin(kNames), std::end(kNames)}, {});
  CliArgs args;
  for (const char* pszName : kNames) {
    args.push_back(std::string("--") + pszName);
    args.push_back(text);
  }
  if (!cli.Parse(args)) return 0;

  double dHz = 0.0;
  if (cli.GetFrequency("freq", dHz)) Check(std::isfinite(dHz) && dHz >= 0.0);

  CRecordingDescription desc;
  desc.SetStartTime(1'748'779'200);  // 2025-06-01 12:00:00 UTC
  double dSeconds = 0.0;
  if (cli.ParseRecordingTime("start", text, desc.m_tStart, dSeconds)) Check(std::isfinite(dSeconds));
  std::int64_t tUtc = 0;
  if (cli.GetRecordingTime("start", desc, tUtc)) Check(tUtc > -2 * 253'402'300'800 && tUtc < 2 * 253'402'300'800);

  double dNumber = 0.0;
  if (cli.GetDouble("seconds", dNumber)) Check(std::isfinite(dNumber));
  std::int64_t nNumber = 0;
  (void)cli.GetInt64("fft", nNumber);

  int nLow = 0, nHigh = 0;
  if (cli.GetPassBand("filter", nLow, nHigh)) Check(0 <= nLow && nLow <= nHigh && nHigh <= 10'000'000);

  double dFirst = 0.0, dSecond = 0.0;
  if (cli.GetTimeRange("repeat", desc.m_tStart, dFirst, dSecond))
    Check(std::isfinite(dFirst) && std::isfinite(dSecond) && dFirst < dSecond);

  CRecordingDescription facts;
  (void)cli.ApplyRecordingFacts(facts);

  SPictureOptions picture;
  if (ParsePictureOptions(cli, picture)) {
    Check(picture.nContrast >= 0 && picture.nContrast <= 100);
    Check(picture.nFitHeight >= 0 && picture.nFitHeight <= 100000);
    Check(picture.bScaleAutomatic || picture.nLevelLow < picture.nLevelHigh);
  }
  return 0;
}
