#pragma once
// A small option parser shared by vexlor-cli's sub-commands and kelmorth: positional
// arguments and "--name value" / "--flag" options, with clear messages for what is wrong.
// Options named "centre..." are also accepted as "center...".

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/Commands.h"

struct CRecordingDescription;

class CCliOptions {
 public:
  // valueOptions take a value ("--fft 4096"); flagOptions take none ("--json"). Messages
  // begin with the program's name and the command (when not empty).
  CCliOptions(std::string command, std::set<std::string> valueOptions,
              std::set<std::string> flagOptions, std::string program = "vexlor-cli");

  // Parses args; on an unknown option or a missing value prints a message and returns false.
  bool Parse(const CliArgs& args);

  const std::vector<std::string>& Positional() const { return m_positional; }
  bool Has(const std::string& name) const;
  std::optional<std::string> Value(const std::string& name) const;

  // Numeric values; on malformed text prints "vexlor-cli CMD: --name: ..." and returns false.
  bool GetInt64(const std::string& name, std::int64_t& value) const;
  bool GetDouble(const std::string& name, double& value) const;

  // The options the demodulating commands share; each leaves its value alone when the
  // option is absent and prints what is wrong otherwise.
  // --NAME as a demodulator mode: a short or long name, or "cw" (CW-U).
  bool GetMode(const std::string& name, int& nMode) const;
  // --NAME as "LO,HI" in Hz (either order, 0..10,000,000, not both 0).
  bool GetPassBand(const std::string& name, int& nLow, int& nHigh) const;
  // A time of a recording starting at tStart (UTC seconds): "YYYY-MM-DD HH:MM:SS" (UTC) or
  // seconds from the start. name is the option it came from, for the message.
  bool ParseRecordingTime(const std::string& name, const std::string& text, std::int64_t tStart,
                          double& dSeconds) const;
  // --NAME as "START,END": two times as above (seconds from tStart), END after START.
  bool GetTimeRange(const std::string& name, std::int64_t tStart, double& dFirst, double& dSecond) const;
  // A time as above, as UTC seconds of the recording desc (whole seconds).
  bool GetRecordingTime(const std::string& name, const CRecordingDescription& desc, std::int64_t& tUtc) const;
  // --NAME as a frequency in Hz: 7100000, 7100k, 7.1M, with or without "Hz".
  bool GetFrequency(const std::string& name, double& dHz) const;
  // Recognises the recording FILE belongs to (the whole series).
  bool OpenRecording(const std::string& path, CRecordingDescription& desc) const;
  // What the user says of a recording whose files do not: --centre-freq HZ, --start-time T.
  bool ApplyRecordingFacts(CRecordingDescription& desc) const;
  // Refuses an output that is a file of the recording, or that cannot be created.
  bool CheckOutput(const std::string& output, const CRecordingDescription& desc) const;

  // Prints "PROGRAM CMD: message" on stderr.
  void Error(const std::string& message) const;

 private:
  std::string m_program;
  std::string m_command;
  std::set<std::string> m_valueOptions;
  std::set<std::string> m_flagOptions;
  std::vector<std::string> m_positional;
  std::map<std::string, std::string> m_values;
};
