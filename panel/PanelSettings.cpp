// The INI text of a panel's settings. SimpleIni parses and writes the sections and keys in
// order; what it cannot keep by itself (it trims values, and a value cannot span lines) is kept
// by quoting such values here.
#include "panel/PanelSettings.h"

#include <SimpleIni.h>

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "engine/ParserClasses.h"

namespace loom {

namespace {

const char* const kArgumentNames[TKQWLUserEvent::kArguments] = {
    "IData1", "IData2",     "DData1",     "DData2",   "DData3",
    "DData4", "Parameter1", "Parameter2", "Tolerance"};

// --- values that the INI form cannot hold as they are ---

bool NeedsQuotes(const std::string& value) {
  if (value.empty()) return false;
  if (value.front() == ' ' || value.front() == '\t' || value.back() == ' ' || value.back() == '\t')
    return true;
  if (value.front() == '"') return true;
  for (unsigned char c : value)
    if (c < 0x20 || c == 0x7F) return true;
  return false;
}

std::string Quote(const std::string& value) {
  std::string out = "\"";
  for (unsigned char c : value) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c < 0x20 || c == 0x7F) {
          char escape[8];
          std::snprintf(escape, sizeof escape, "\\x%02X", c);
          out += escape;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Whether stored is one quoted text: quotes at both ends and none unescaped between them.
bool IsQuoted(const std::string& stored) {
  if (stored.size() < 2 || stored.front() != '"' || stored.back() != '"') return false;
  for (std::size_t i = 1; i + 1 < stored.size(); ++i) {
    if (stored[i] == '\\')
      ++i;
    else if (stored[i] == '"')
      return false;
  }
  return true;
}

// The text a stored value stands for: a quoted value loses its quotes and escapes; any other
// value is taken as it stands, so a hand-written file need not quote ("a" + "b" stays).
std::string Unquote(const std::string& stored) {
  if (!IsQuoted(stored)) return stored;
  std::string out;
  for (std::size_t i = 1; i + 1 < stored.size(); ++i) {
    char c = stored[i];
    if (c != '\\' || i + 2 >= stored.size()) {
      out += c;
      continue;
    }
    c = stored[++i];
    switch (c) {
      case 'r':
        out += '\r';
        break;
      case 'n':
        out += '\n';
        break;
      case 't':
        out += '\t';
        break;
      case 'x':
        if (i + 2 < stored.size() - 1 && HexDigit(stored[i + 1]) >= 0 &&
            HexDigit(stored[i + 2]) >= 0) {
          out += static_cast<char>(HexDigit(stored[i + 1]) * 16 + HexDigit(stored[i + 2]));
          i += 2;
        } else {
          out += "\\x";
        }
        break;
      default:
        out += c;
        break;  // a quote or a backslash
    }
  }
  return out;
}

// --- reading with problems ---

class TReader {
 public:
  TReader(const CSimpleIniA& ini, std::vector<std::string>& problems)
      : ini_(ini), problems_(problems) {}

  bool Has(const char* section, const std::string& key) const {
    return ini_.GetValue(section, key.c_str(), nullptr) != nullptr;
  }

  std::string String(const char* section, const std::string& key, const std::string& fallback) {
    const char* value = ini_.GetValue(section, key.c_str(), nullptr);
    return value != nullptr ? Unquote(value) : fallback;
  }

  std::int32_t Integer(const char* section, const std::string& key, std::int32_t fallback) {
    const char* value = ini_.GetValue(section, key.c_str(), nullptr);
    if (value == nullptr) return fallback;
    const std::string text = Unquote(value);
    std::int32_t number = 0;
    const char* first = text.data();
    if (!text.empty() && text.front() == '+') ++first;
    auto [end, error] = std::from_chars(first, text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
      return Problem(section, key, "\"" + text + "\" is not a whole number", fallback);
    return number;
  }

  bool Boolean(const char* section, const std::string& key, bool fallback) {
    const char* value = ini_.GetValue(section, key.c_str(), nullptr);
    if (value == nullptr) return fallback;
    std::string text = Unquote(value);
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (text == "1" || text == "true") return true;
    if (text == "0" || text == "false") return false;
    return Problem(section, key, "\"" + text + "\" is not a boolean (1 or 0)", fallback);
  }

  double Float(const char* section, const std::string& key, double fallback) {
    const char* value = ini_.GetValue(section, key.c_str(), nullptr);
    if (value == nullptr) return fallback;
    const std::string text = Unquote(value);
    double number = 0;
    if (!TryStrToFloat(text, '.', number) && !TryStrToFloat(text, ',', number))
      return Problem(section, key, "\"" + text + "\" is not a number", fallback);
    return number;
  }

  // A list's Count: a negative one counts 0.
  int Count(const char* section) {
    const std::int32_t count = Integer(section, "Count", 0);
    if (count < 0)
      return Problem(section, "Count", std::to_string(count) + " is negative; read as 0", 0);
    return count;
  }

  std::vector<std::string> List(const char* section) {
    std::vector<std::string> items(static_cast<std::size_t>(Count(section)));
    for (std::size_t i = 0; i < items.size(); ++i)
      items[i] = String(section, std::to_string(i), "");
    return items;
  }

  template <class T>
  T Problem(const char* section, const std::string& key, const std::string& what, T fallback) {
    problems_.push_back("[" + std::string(section) + "] " + key + ": " + what);
    return fallback;
  }

 private:
  const CSimpleIniA& ini_;
  std::vector<std::string>& problems_;
};

void ReadGeneral(TReader& r, TPanelSettings& s) {
  const char* g = "General";
  s.ImmediateEvaluation = r.Boolean(g, "ImmediateEvaluation", false);
  s.BooleanResult = r.Boolean(g, "BooleanResult", false);
  s.InitializationEndIndex = r.Integer(g, "InitializationEndIndex", 0);
  s.UseFixedDt = r.Boolean(g, "UseFixedDt", false);
  s.Dt = r.Float(g, "Dt", 1.0);
  s.OnlyBooleanChanges = r.Boolean(g, "OnlyBooleanChanges", false);
  s.EvaluateImmediately = r.Boolean(g, "EvaluateImmediately", false);
  s.evaluateAsynchronously = r.Boolean(g, "evaluateAsynchronously", false);
  s.limitExecutionInterval = r.Boolean(g, "limitExecutionInterval", false);
  s.limitExecutionIntervalTimer = r.Integer(g, "limitExecutionIntervalTimer", 1000);
  if (s.limitExecutionIntervalTimer < 1)
    s.limitExecutionIntervalTimer = r.Problem(
        g, "limitExecutionIntervalTimer",
        std::to_string(s.limitExecutionIntervalTimer) + " ms is not a timer interval; read as 1000",
        1000);
}

// The section bounds must cut the expression list: 0 <= InitializationEndIndex <=
// ExitStartIndex <= count. The Exit start is read last because its default is the count.
void ReadSectionBounds(TReader& r, TPanelSettings& s) {
  const char* g = "General";
  const auto count = static_cast<std::int32_t>(s.Expressions.size());
  if (s.InitializationEndIndex < 0 || s.InitializationEndIndex > count)
    s.InitializationEndIndex =
        r.Problem(g, "InitializationEndIndex",
                  std::to_string(s.InitializationEndIndex) + " lies outside the " +
                      std::to_string(count) + " expressions; read as 0",
                  0);
  s.ExitStartIndex = r.Integer(g, "ExitStartIndex", count);
  if (s.ExitStartIndex < s.InitializationEndIndex || s.ExitStartIndex > count)
    s.ExitStartIndex = r.Problem(g, "ExitStartIndex",
                                 std::to_string(s.ExitStartIndex) + " lies outside " +
                                     std::to_string(s.InitializationEndIndex) + " .. " +
                                     std::to_string(count) + "; read as " + std::to_string(count),
                                 count);
}

void ReadOutputChannels(TReader& r, TPanelSettings& s) {
  const char* o = "OutputDataChannels";
  const int count = r.Count(o);
  for (int n = 0; n < count; ++n) {
    const std::string p = std::to_string(n) + ".";
    TOutputChannelDefinition channel;
    channel.Origin = r.String(o, p + "Origin", "");
    channel.Name = r.String(o, p + "Name", "");
    channel.Unit = r.String(o, p + "Unit", "");
    channel.Minimum = r.Float(o, p + "Min", 0.0);
    channel.Maximum = r.Float(o, p + "Max", 0.0);
    channel.Color = r.Integer(o, p + "Color", 0);
    s.OutputChannels.push_back(std::move(channel));
  }
}

void ReadSerial(TReader& r, TSerialSettings& serial) {
  const char* io = "Serial IO";
  serial.EOLSequence = r.String(io, "EOL sequence", serial.EOLSequence);
  serial.MaxSequenceLength = r.Integer(io, "Max sequence len", serial.MaxSequenceLength);
  serial.Parameter = r.String(io, "Parameter", serial.Parameter);
  serial.InputOperationMode = r.Integer(io, "InputOperationMode", serial.InputOperationMode);
}

void ReadUserEvents(TReader& r, TPanelSettings& s) {
  const char* u = "UserEvents";
  const int count = r.Count(u);
  for (int n = 0; n < count; ++n) {
    const std::string p = std::to_string(n) + ".";
    TKQWLUserEvent event;
    event.ID = r.Integer(u, p + "ID", 0);
    event.internalName = r.String(u, p + "internalName", "");
    event.userName = r.String(u, p + "userName", "");
    event.type = r.Integer(u, p + "type", 0);
    for (int a = 0; a < TKQWLUserEvent::kArguments; ++a)
      event.use[a] = r.Boolean(u, p + "use" + kArgumentNames[a], false);
    for (int a = 0; a < TKQWLUserEvent::kArguments; ++a)
      event.description[a] = r.String(u, p + "description" + kArgumentNames[a], "");
    s.UserEvents.push_back(std::move(event));
  }
}

// --- writing ---

class TWriter {
 public:
  explicit TWriter(CSimpleIniA& ini) : ini_(ini) {}
  void String(const char* section, const std::string& key, const std::string& value) {
    ini_.SetValue(section, key.c_str(), (NeedsQuotes(value) ? Quote(value) : value).c_str());
  }
  void Integer(const char* section, const std::string& key, std::int64_t value) {
    ini_.SetValue(section, key.c_str(), std::to_string(value).c_str());
  }
  void Boolean(const char* section, const std::string& key, bool value) {
    ini_.SetValue(section, key.c_str(), value ? "1" : "0");
  }
  void Float(const char* section, const std::string& key, double value) {
    // Seventeen digits where fifteen would not read back as the same number.
    std::string text = FloatToStr(value);
    double back = 0;
    if (!TryStrToFloat(text, '.', back) || back != value) {
      char exact[32];
      std::snprintf(exact, sizeof exact, "%.17g", value);
      text = exact;
    }
    ini_.SetValue(section, key.c_str(), text.c_str());
  }
  void List(const char* section, const std::vector<std::string>& items) {
    Integer(section, "Count", static_cast<std::int64_t>(items.size()));
    for (std::size_t i = 0; i < items.size(); ++i) String(section, std::to_string(i), items[i]);
  }

 private:
  CSimpleIniA& ini_;
};

}  // namespace

std::string TKQWLUserEvent::GenerateInternalName() const {
  std::string name = "USEREVENT_";
  for (unsigned char c : userName)
    name += std::isalnum(c) && c < 128 ? static_cast<char>(std::toupper(c)) : '_';
  return name;
}

TPanelSettings ReadPanelSettings(const std::string& text, std::vector<std::string>& problems) {
  CSimpleIniA ini;
  ini.SetMultiKey(false);
  ini.SetMultiLine(false);
  ini.SetQuotes(false);
  TPanelSettings s;
  if (ini.LoadData(text) < 0) {
    problems.push_back("the settings text cannot be read as INI");
    return s;
  }
  TReader r(ini, problems);
  ReadGeneral(r, s);
  s.InputVariables = r.List("InputVariables");
  s.Expressions = r.List("Expressions");
  s.ChannelOrigins = r.List("ChannelOrigins");
  s.ChannelVariables = r.List("ChannelVariables");
  ReadOutputChannels(r, s);
  ReadSectionBounds(r, s);
  ReadSerial(r, s.Serial);
  ReadUserEvents(r, s);
  return s;
}

std::string WritePanelSettings(const TPanelSettings& s) {
  CSimpleIniA ini;
  ini.SetSpaces(false);
  TWriter w(ini);
  const char* g = "General";
  w.Boolean(g, "ImmediateEvaluation", s.ImmediateEvaluation);
  w.Boolean(g, "BooleanResult", s.BooleanResult);
  w.Integer(g, "InitializationEndIndex", s.InitializationEndIndex);
  w.Integer(g, "ExitStartIndex", s.ExitStartIndex);
  w.Boolean(g, "UseFixedDt", s.UseFixedDt);
  w.Float(g, "Dt", s.Dt);
  w.Boolean(g, "OnlyBooleanChanges", s.OnlyBooleanChanges);
  w.Boolean(g, "EvaluateImmediately", s.EvaluateImmediately);
  w.Boolean(g, "evaluateAsynchronously", s.evaluateAsynchronously);
  w.Boolean(g, "limitExecutionInterval", s.limitExecutionInterval);
  w.Integer(g, "limitExecutionIntervalTimer", s.limitExecutionIntervalTimer);
  w.List("InputVariables", s.InputVariables);
  w.List("Expressions", s.Expressions);
  w.List("ChannelOrigins", s.ChannelOrigins);
  w.List("ChannelVariables", s.ChannelVariables);
  const char* o = "OutputDataChannels";
  w.Integer(o, "Count", static_cast<std::int64_t>(s.OutputChannels.size()));
  for (std::size_t n = 0; n < s.OutputChannels.size(); ++n) {
    const TOutputChannelDefinition& c = s.OutputChannels[n];
    const std::string p = std::to_string(n) + ".";
    w.String(o, p + "Origin", c.Origin);
    w.String(o, p + "Name", c.Name);
    w.String(o, p + "Unit", c.Unit);
    w.Float(o, p + "Min", c.Minimum);
    w.Float(o, p + "Max", c.Maximum);
    w.Integer(o, p + "Color", c.Color);
  }
  const char* io = "Serial IO";
  w.String(io, "Parameter", s.Serial.Parameter);
  w.String(io, "EOL sequence", s.Serial.EOLSequence);
  w.Integer(io, "Max sequence len", s.Serial.MaxSequenceLength);
  w.Integer(io, "InputOperationMode", s.Serial.InputOperationMode);
  const char* u = "UserEvents";
  w.Integer(u, "Count", static_cast<std::int64_t>(s.UserEvents.size()));
  for (std::size_t n = 0; n < s.UserEvents.size(); ++n) {
    const TKQWLUserEvent& e = s.UserEvents[n];
    const std::string p = std::to_string(n) + ".";
    w.Integer(u, p + "ID", e.ID);
    w.String(u, p + "internalName", e.internalName);
    w.String(u, p + "userName", e.userName);
    w.Integer(u, p + "type", e.type);
    for (int a = 0; a < TKQWLUserEvent::kArguments; ++a)
      w.Boolean(u, p + "use" + kArgumentNames[a], e.use[a]);
    for (int a = 0; a < TKQWLUserEvent::kArguments; ++a)
      w.String(u, p + "description" + kArgumentNames[a], e.description[a]);
  }
  std::string out;
  ini.Save(out);
  return out;
}

}  // namespace loom
