// The event log of a run: one JSON object per line and event, in the order the panels fired
// them:
//   {"time":1.5,"panel":"thermo","index":1000,"name":"OverTemperature","text":"92.1 C"}
// An event fired with numeric arguments (FireEventEx) adds "channel", "start", "end",
// "iData1", "iData2" and "dData1" .. "dData4". Numbers are written exactly (shortest round
// trip); NaN and the infinities, which JSON lacks, as the strings "NAN", "INF" and "-INF".
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/PendingFile.h"

namespace loom {

struct THostEvent {
  double Time = 0;  // the host's clock in seconds when the event fired
  std::string Panel;
  int Index = 0;
  std::string Name;  // the event's name as the summary shows it
  std::string Text;
  bool HasArguments = false;
  std::int32_t Channel = 0;
  double StartTime = 0;
  double EndTime = 0;
  std::int32_t IData1 = 0;
  std::int32_t IData2 = 0;
  double DData[4] = {};
};

// The event as one line of JSON, without the line break. Bytes of the text outside printable
// ASCII are written as \u00XX, so the line stays valid whatever the formula put in the text.
std::string EventJson(const THostEvent& event);

class TEventLog {
 public:
  TEventLog(const std::string& path, const std::string& shown) : file_(path, shown) {}
  void Write(const THostEvent& event);
  void Commit() { file_.Commit(); }
  std::size_t Count() const { return count_; }

 private:
  TPendingFile file_;
  std::size_t count_ = 0;
};

}  // namespace loom
