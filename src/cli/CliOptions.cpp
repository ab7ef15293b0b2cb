#include "cli/CliOptions.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <strings.h>

#include "core/QuantityText.h"
#include "core/SystemTime.h"
#include "dsp/DSPDemodMain.h"
#include "recording/OutputGuard.h"
#include "recording/WaveFileData.h"

CCliOptions::CCliOptions(std::string command, std::set<std::string> valueOptions,
                         std::set<std::string> flagOptions, std::string program)
    : m_program(std::move(program)),
      m_command(std::move(command)),
      m_valueOptions(std::move(valueOptions)),
      m_flagOptions(std::move(flagOptions)) {}

bool CCliOptions::Parse(const CliArgs& args) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a.size() > 2 && a.compare(0, 2, "--") == 0) {
      std::string name = a.substr(2);
      std::optional<std::string> inlineValue;
      if (auto eq = name.find('='); eq != std::string::npos) {
        inlineValue = name.substr(eq + 1);
        name.resize(eq);
      }
      // American spelling is accepted for every "centre" option.
      if (const auto c = name.find("center"); c != std::string::npos) {
        std::string british = name;
        british.replace(c, 6, "centre");
        if (m_valueOptions.count(british) || m_flagOptions.count(british)) name = british;
      }
      if (m_flagOptions.count(name)) {
        if (inlineValue) {
          Error("option --" + name + " takes no value");
          return false;
        }
        m_values[name] = "";
      } else if (m_valueOptions.count(name)) {
        if (inlineValue) {
          m_values[name] = *inlineValue;
        } else if (i + 1 < args.size()) {
          m_values[name] = args[++i];
        } else {
          Error("option --" + name + " needs a value");
          return false;
        }
      } else {
        Error("unknown option " + a);
        return false;
      }
    } else if (a == "-o" && m_valueOptions.count("o")) {
      if (i + 1 >= args.size()) {
        Error("option -o needs a value");
        return false;
      }
      m_values["o"] = args[++i];
    } else {
      m_positional.push_back(a);
    }
  }
  return true;
}

bool CCliOptions::Has(const std::string& name) const { return m_values.count(name) != 0; }

std::optional<std::string> CCliOptions::Value(const std::string& name) const {
  auto it = m_values.find(name);
  if (it == m_values.end()) return std::nullopt;
  return it->second;
}

bool CCliOptions::GetInt64(const std::string& name, std::int64_t& value) const {
  auto v = Value(name);
  if (!v) return true;
  errno = 0;
  char* end = nullptr;
  long long n = std::strtoll(v->c_str(), &end, 10);
  if (v->empty() || *end != '\0' || errno == ERANGE) {
    Error("--" + name + ": \"" + *v + "\" is not a whole number");
    return false;
  }
  value = n;
  return true;
}

bool CCliOptions::GetDouble(const std::string& name, double& value) const {
  auto v = Value(name);
  if (!v) return true;
  errno = 0;
  char* end = nullptr;
  double d = std::strtod(v->c_str(), &end);
  if (v->empty() || *end != '\0' || errno == ERANGE || !std::isfinite(d)) {
    Error("--" + name + ": \"" + *v + "\" is not a number");
    return false;
  }
  value = d;
  return true;
}

void CCliOptions::Error(const std::string& message) const {
  if (m_command.empty())
    std::fprintf(stderr, "%s: %s\n", m_program.c_str(), message.c_str());
  else
    std::fprintf(stderr, "%s %s: %s\n", m_program.c_str(), m_command.c_str(), message.c_str());
}

bool CCliOptions::GetMode(const std::string& name, int& nMode) const {
  auto v = Value(name);
  if (!v) return true;
  int nFound = CDSPDemodMain::ModeFromName(*v);
  if (nFound < 0 && strcasecmp(v->c_str(), "cw") == 0) nFound = eDemodCWU;
  if (nFound < 0) {
    std::string list;
    for (int m = 0; m < eDemodModeCount; ++m) list += std::string(m ? ", " : "") + CDSPDemodMain::ShortName(m);
    Error("unknown mode \"" + *v + "\" (modes: " + list + ", or their long names)");
    return false;
  }
  nMode = nFound;
  return true;
}

bool CCliOptions::GetPassBand(const std::string& name, int& nLow, int& nHigh) const {
  auto v = Value(name);
  if (!v) return true;
  const auto comma = v->find(',');
  char* end = nullptr;
  const long a = std::strtol(v->c_str(), &end, 10);
  bool bOk = comma != std::string::npos && end == v->c_str() + comma;
  long b = 0;
  if (bOk) {
    b = std::strtol(v->c_str() + comma + 1, &end, 10);
    bOk = *end == '\0' && end != v->c_str() + comma + 1;
  }
  if (!bOk || a < 0 || b < 0 || a > 10'000'000 || b > 10'000'000 || (a == 0 && b == 0)) {
    Error("--" + name + ": \"" + *v + "\" is not LO,HI in Hz");
    return false;
  }
  nLow = static_cast<int>(std::min(a, b));
  nHigh = static_cast<int>(std::max(a, b));
  return true;
}

bool CCliOptions::ParseRecordingTime(const std::string& name, const std::string& text, std::int64_t tStart,
                                     double& dSeconds) const {
  std::string strError;
  if (ParseRecordingTimeText(text, tStart, dSeconds, strError)) return true;
  Error("--" + name + ": " + strError);
  return false;
}

bool CCliOptions::GetRecordingTime(const std::string& name, const CRecordingDescription& desc,
                                   std::int64_t& tUtc) const {
  const auto v = Value(name);
  if (!v) return true;
  double dSeconds = 0.0;
  if (!ParseRecordingTime(name, *v, desc.m_tStart, dSeconds)) return false;
  tUtc = desc.m_tStart + static_cast<std::int64_t>(std::floor(dSeconds));
  return true;
}

bool CCliOptions::GetFrequency(const std::string& name, double& dHz) const {
  const auto v = Value(name);
  if (!v) return true;
  std::string strError;
  if (ParseFrequencyText(*v, dHz, strError)) return true;
  Error("--" + name + ": " + strError);
  return false;
}

bool CCliOptions::ApplyRecordingFacts(CRecordingDescription& desc) const {
  double dCentre = 0.0;
  if (!GetFrequency("centre-freq", dCentre)) return false;
  if (Has("centre-freq")) {
    if (dCentre >= 4294967296.0) {
      Error("--centre-freq: " + *Value("centre-freq") + " is above 4294967295 Hz");
      return false;
    }
    desc.SetCenterFrequency(static_cast<std::uint32_t>(dCentre));
  }
  if (const auto t = Value("start-time")) {
    std::string strError;
    std::string text = *t;
    double dSeconds = 0.0;
    // Here a time is a calendar time: seconds from a start that is not known mean nothing.
    if (text.find('-', 1) == std::string::npos ||
        !ParseRecordingTimeText(text, 0, dSeconds, strError)) {
      Error("--start-time: \"" + text + "\" is not a UTC time \"YYYY-MM-DD HH:MM:SS\" or \"YYYY-MM-DDTHH:MM:SSZ\"");
      return false;
    }
    desc.SetStartTime(static_cast<std::int64_t>(dSeconds));
  }
  return true;
}

bool CCliOptions::OpenRecording(const std::string& path, CRecordingDescription& desc) const {
  CWaveFileData data;
  if (!data.GetInformation(path, true, desc) || !desc.m_bValid || desc.m_nFiles == 0) {
    Error(path + ": " + (data.FailureText().empty() ? "not a recording" : data.FailureText()));
    return false;
  }
  return true;
}

bool CCliOptions::CheckOutput(const std::string& output, const CRecordingDescription& desc) const {
  std::string strError;
  if (CheckOutputForRecording(output, desc, strError)) return true;
  Error(strError);
  return false;
}
