// The settings block of a formula panel: everything a user configures, as one INI text that the
// host keeps with its worksheet ("KQVXFormulaPanelEx") and that `loom run` reads from a file.
//
// Reading is tolerant: a key with a value of the wrong type, a negative count or an index beyond
// the expressions keeps its default and is reported as a problem naming the section and key,
// while every other key is still read, so that writing the settings back loses nothing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "panel/PanelHost.h"

namespace loom {

// A user-defined event: its identifier, names, type, which arguments it carries and the user's
// description of each. The arguments, in this order: IData1, IData2, DData1 .. DData4,
// Parameter1, Parameter2, Tolerance.
struct TKQWLUserEvent {
  static constexpr int kArguments = 9;
  std::int32_t ID = 0;
  std::string internalName;
  std::string userName;
  std::int32_t type = 0;
  bool use[kArguments] = {};
  std::string description[kArguments];

  // The name formulas use for the event's identifier when none is stored: the user's name with
  // every character that a formula name cannot hold replaced by "_", after "USEREVENT_".
  std::string GenerateInternalName() const;
};

// The serial port's part of the settings, kept as written until a port takes it over.
struct TSerialSettings {
  std::string Parameter = "-1,9600,8,1,0,0";  // port, baud, data bits, stop bits, parity, flow
  std::string EOLSequence;
  std::int32_t MaxSequenceLength = 0;
  std::int32_t InputOperationMode = 0;  // SERIAL_NO_INPUT
};

struct TPanelSettings {
  // [General]
  bool ImmediateEvaluation = false;
  bool BooleanResult = false;
  std::int32_t InitializationEndIndex = 0;
  std::int32_t ExitStartIndex = 0;  // read: the number of expressions when missing
  bool UseFixedDt = false;
  double Dt = 1.0;
  bool OnlyBooleanChanges = false;
  bool EvaluateImmediately = false;
  bool evaluateAsynchronously = false;
  bool limitExecutionInterval = false;
  std::int32_t limitExecutionIntervalTimer = 1000;

  std::vector<std::string> InputVariables;
  std::vector<std::string> Expressions;
  std::vector<std::string> ChannelOrigins;
  std::vector<std::string> ChannelVariables;
  std::vector<TOutputChannelDefinition> OutputChannels;
  TSerialSettings Serial;
  std::vector<TKQWLUserEvent> UserEvents;
};

// Reads a settings block. Problems (a value of the wrong type, a negative count, section
// indices outside the expression list) are appended to problems, one readable line each, and
// the key keeps its default; nothing else is lost.
TPanelSettings ReadPanelSettings(const std::string& text, std::vector<std::string>& problems);

// Writes every key in the block's order, each list with its Count first. Values that the INI
// form could not keep as they are (leading or trailing blanks, a leading double quote, control
// characters) are written in double quotes with backslash escapes, and read back unchanged.
std::string WritePanelSettings(const TPanelSettings& settings);

}  // namespace loom
