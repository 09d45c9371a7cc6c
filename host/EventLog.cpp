#include "host/EventLog.h"

#include <cmath>
#include <cstdio>

#include "host/CsvData.h"

namespace loom {

namespace {

void AppendString(std::string& out, const std::string& text) {
  out += '"';
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c < 0x20 || c >= 0x7F) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04X", c);
      out += escape;
    } else {
      out += static_cast<char>(c);
    }
  }
  out += '"';
}

void AppendNumber(std::string& out, double value) {
  if (std::isnan(value))
    out += "\"NAN\"";
  else if (std::isinf(value))
    out += value > 0 ? "\"INF\"" : "\"-INF\"";
  else
    out += FormatNumber(value);
}

void AppendField(std::string& out, const char* name, double value) {
  out += ",\"";
  out += name;
  out += "\":";
  AppendNumber(out, value);
}

}  // namespace

std::string EventJson(const THostEvent& e) {
  std::string out = "{\"time\":";
  AppendNumber(out, e.Time);
  out += ",\"panel\":";
  AppendString(out, e.Panel);
  out += ",\"index\":" + std::to_string(e.Index) + ",\"name\":";
  AppendString(out, e.Name);
  out += ",\"text\":";
  AppendString(out, e.Text);
  if (e.HasArguments) {
    AppendField(out, "channel", e.Channel);
    AppendField(out, "start", e.StartTime);
    AppendField(out, "end", e.EndTime);
    AppendField(out, "iData1", e.IData1);
    AppendField(out, "iData2", e.IData2);
    const char* const names[] = {"dData1", "dData2", "dData3", "dData4"};
    for (int i = 0; i < 4; ++i) AppendField(out, names[i], e.DData[i]);
  }
  return out + "}";
}

void TEventLog::Write(const THostEvent& event) {
  file_.Stream() << EventJson(event) << '\n';
  ++count_;
}

}  // namespace loom
