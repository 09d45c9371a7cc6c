// How the panel prepares its evaluator: the system variables bound to the panel's fields, the
// name lists the property page shows, the compiled expressions with their jump pairing, and the
// events and control properties the panel offers to the rest of the worksheet.
#include "panel/FormulaPanel.h"

namespace loom {

namespace {

constexpr const char* kVariablesHelp = "Variables.htm";

constexpr const char* kTimeAxisText =
    "Timelength and Timestart. For variables created by data channel inputs, these system "
    "variables provide access to the time-axis definition of the incoming data buffers. At the "
    "beginning of the formula, they contain the time-axis definition of the incoming data. At the "
    "end of the formula, they contain the time-axis definition of outgoing data channels. "
    "Timestart is the time of the first sample of the block in seconds, timelength the time the "
    "block spans in seconds; a formula that sets them gives its output channels that time axis.";

using TSystemVariableText = TPanelName;

// The system variables in the order the property page lists them.
constexpr TSystemVariableText kSystemVariables[] = {
    {"t", "The number of seconds since you last started the Windows operating system"},
    {"dt",
     "If the Use fixed dt checkbox is selected, the specified fixed time difference (in seconds) "
     "between two calls to the Formula Evaluator panel. If the Use fixed dt checkbox is not "
     "selected, the actual time difference (in seconds) between two calls to the Formula "
     "Evaluator panel"},
    {"timelength", kTimeAxisText},
    {"timestart", kTimeAxisText},
    {"ControlOutput",
     "The value used to control other panels through the selected control channels"},
    {"EnableOutput",
     "If this variable is 0, any output of the Loom panel is disabled. If this variable is not 0, "
     "output is enabled"},
    {"TimeChannel",
     "This variable contains the timechannel data at the beginning of the formula. You can set it "
     "to your own timechannel definition. After the evaluation of the formula it will be used as "
     "the timechannel for outgoing data channels. This variable must be a vector of appropriate "
     "size."},
    {"SerialInput", "Variable that receives the input strings from serial I/O."},
    {"SerialInputMode", "SerialInputMode."},
    {"SerialInputCount", "SerialInputCount."},
    {"SerialInputEOLSequence", "SerialInputEOLSequence."},
    {"SerialInputTrigger", "SerialInputTrigger."},
    // The doubled quote is part of the text as it has always been shown.
    {"StringInput",
     "Variable that receives the input of the external control channel \"StringInput\"\"."},
};

constexpr TSystemVariableText kConstants[] = {
    {"TRUE", "Constant: boolean true"},
    {"FALSE", "Constant: boolean false"},
    {"PI", "Constant: pi"},
    {"FILE_CURRENT", "Constant: Seek from current file Position"},
    {"FILE_BEGIN", "Constant: Seek from begin of file"},
    {"FILE_END", "Constant: Seek from end of file"},
    {"INVALID_FILEHANDLE", "Constant: invalid file handle"},
    {"SERIAL_NO_INPUT", "Constant: Input mode no input"},
    {"SERIAL_RECEIVE_FIXED_NUMBER_OF_BYTES", "Constant: Input mode fixed number of bytes"},
    {"SERIAL_WAIT_FOR_BYTE_SEQUENCE", "Constant: Input mode wait for byte sequence"},
    {"TC_TYPE_NONE", "Constant: Thermocouple no linearization"},
    {"TC_TYPE_B", "Constant: Thermocouple type B"},
    {"TC_TYPE_E", "Constant: Thermocouple type E"},
    {"TC_TYPE_J", "Constant: Thermocouple type J"},
    {"TC_TYPE_K", "Constant: Thermocouple type K"},
    {"TC_TYPE_N", "Constant: Thermocouple type N"},
    {"TC_TYPE_R", "Constant: Thermocouple type R"},
    {"TC_TYPE_S", "Constant: Thermocouple type S"},
    {"TC_TYPE_T", "Constant: Thermocouple type T"},
    {"WINDOW_RECTANGLE", "Constant: FFT Window Rectangle"},
    {"WINDOW_HANNING", "Constant: FFT Window Hanning"},
    {"WINDOW_HAMMING", "Constant: FFT Window Hamming"},
    {"WINDOW_BLACKMAN", "Constant: FFT Window Blackman"},
    {"WINDOW_HANN", "Constant: FFT Window Hann"},
    {"WINDOW_BLACKMAN_HARRIS_67DB", "Constant: FFT Window Blackman Harris 67 dB"},
    {"WINDOW_BLACKMAN_HARRIS_92DB", "Constant: FFT Window Blackman Harris 92 dB"},
};

const char* DescriptionOf(const char* name) {
  for (const TSystemVariableText& v : kSystemVariables)
    if (std::string_view(v.Name) == name) return v.Description;
  return "";
}

void SetString(TVXParsDouble& value, const std::string& text) {
  value.VarType = vtString;
  value.StrValue = text;
}

void SetNumber(TVXParsDouble& value, double number) {
  value.VarType = vtDouble;
  value.Value = number;
}

}  // namespace

std::span<const TPanelName> PanelSystemVariables() {
  return kSystemVariables;
}

std::span<const TPanelName> PanelConstants() {
  return kConstants;
}

void TKQVXFormulaPanel::DefineSystemVariable(const char* name, TVXParsDouble& value) {
  evaluator_.DefineVariable(name, &value, DescriptionOf(name), kVariablesHelp);
}

// Drops every expression and variable and defines the system variables anew, in their order.
void TKQVXFormulaPanel::InitializeEvaluator() {
  evaluator_.Reset();
  evaluator_.BaseDirectory = host_.BaseDirectory();
  jumps_.clear();
  port_->OnInputString = [this](TSerialIO&, const std::string& text) {
    DoOnValidInputString(text);
  };
  port_->OnOutputDone = [this](TSerialIO&) { DoOnOutputDone(); };
  port_->OnPortStateChanged = [this](TSerialIO&, bool connected) {
    host_.SerialPortStateChanged(connected);
  };
  DefineSystemVariable("dt", dt_);
  DefineSystemVariable("t", t_);
  DefineSystemVariable("timelength", timelength_);
  DefineSystemVariable("timestart", timestart_);
  DefineSystemVariable("ControlOutput", controlOutput_);
  DefineSystemVariable("EnableOutput", enableOutput_);
  enableOutput_ = TVXParsDouble::Boolean(true);
  DefineSystemVariable("TimeChannel", timeChannel_);
  if (timeChannel_.VarType != vtVector) timeChannel_ = TVXParsDouble::FromVector({});
  DefineSystemVariable("StringInput", stringInput_);
  SetString(stringInput_, "");
  DefineSystemVariable("SerialInput", serialInput_);
  SetString(serialInput_, "");
  DefineSystemVariable("SerialInputMode", serialInputMode_);
  SetNumber(serialInputMode_, settings_.Serial.InputOperationMode);
  DefineSystemVariable("SerialInputCount", serialInputCount_);
  SetNumber(serialInputCount_, settings_.Serial.MaxSequenceLength);
  DefineSystemVariable("SerialInputEOLSequence", serialInputEOL_);
  SetString(serialInputEOL_, "");
  DefineSystemVariable("SerialInputTrigger", serialInputTrigger_);
  SetNumber(serialInputTrigger_, 1);
  dt_.VarType = vtDouble;
  dt_.Value = settings_.Dt;  // every read stores the fixed dt, whether it is used or not
  FillNameLists();
}

void TKQVXFormulaPanel::FillNameLists() {
  systemNames_.clear();
  systemTexts_.clear();
  for (const TSystemVariableText& v : kSystemVariables) {
    systemNames_.push_back(v.Name);
    systemTexts_.push_back(v.Description);
  }
  constantNames_.clear();
  constantTexts_.clear();
  for (const TSystemVariableText& c : kConstants) {
    constantNames_.push_back(c.Name);
    constantTexts_.push_back(c.Description);
  }
}

// Defines the input variables on the panel's slots, compiles every expression (the index is
// the list position) and pairs the jumps. An expression that does not compile keeps its place
// as an empty one, so the others still run; its message, and a pairing error, go to problems.
void TKQVXFormulaPanel::SetupEvaluator(const std::vector<std::string>& expressions,
                                       const std::vector<std::string>& inputVariables,
                                       std::vector<std::string>& problems) {
  inputs_.assign(inputVariables.size(), TVXParsDouble{});
  for (std::size_t i = 0; i < inputVariables.size(); ++i)
    evaluator_.DefineVariable(inputVariables[i], &inputs_[i], "Input variable", kVariablesHelp);
  for (std::size_t i = 0; i < expressions.size(); ++i) {
    const std::string& text = expressions[i];
    try {
      if (text.find_first_not_of(" \t") == std::string::npos)
        evaluator_.AddEmptyExpression(text);
      else
        evaluator_.AddExpression(text);
    } catch (const EVXParserException& error) {
      problems.push_back("[Expressions] " + std::to_string(i) + ": " + error.what());
      evaluator_.AddEmptyExpression(text);
    }
  }
  try {
    jumps_ = PairJumps(evaluator_);
  } catch (const EVXParserException& error) {
    problems.push_back(std::string("[Expressions] ") + error.what());
    jumps_.assign(static_cast<std::size_t>(evaluator_.GetExpressionCount()), -1);
  }
  CreateDefaultProperties();
  for (std::size_t i = 0; i < inputVariables.size(); ++i) {
    TPropertyDefinition property;
    property.Name = inputVariables[i];
    property.Caption = inputVariables[i];
    property.Default = 0.0;
    property.Handler = [this, i](bool read, TPropertyValue& value) { OnVariable(i, read, value); };
    host_.RegisterProperty(property);
  }
  ResetInputSnapshot();
  host_.UpdatedProperties();
  host_.EventFireAllPropertiesUpdated();
}

// The properties every panel offers: its action, its result and its string input.
void TKQVXFormulaPanel::CreateDefaultProperties() {
  host_.ClearProperties();
  TPropertyDefinition action;
  action.Name = "Action";
  action.Caption = "Action";
  action.Default = std::int64_t{0};
  action.Minimum = fpaNone;
  action.Maximum = fpaAbort;
  action.Choices = {"None", "Evaluate", "Initialize formula", "Exit", "Abort"};
  action.Handler = [this](bool read, TPropertyValue& value) { OnAction(read, value); };
  host_.RegisterProperty(action);
  TPropertyDefinition expression;
  expression.Name = "Expression";
  expression.Caption = "Expression";
  expression.Default = 0.0;
  expression.Handler = [this](bool read, TPropertyValue& value) { OnExpression(read, value); };
  host_.RegisterProperty(expression);
  TPropertyDefinition text;
  text.Name = "StringInput";
  text.Caption = "StringInput";
  text.Default = std::string();
  text.Handler = [this](bool read, TPropertyValue& value) { OnStringVariable(read, value); };
  host_.RegisterProperty(text);
}

// Offers the panel's events and the user's events to the host; each user event also becomes a
// constant that formulas pass to FireEvent.
void TKQVXFormulaPanel::CreateEvents() {
  host_.ClearEvents();
  for (int i = 0; i <= fpevInvalidDataTypeInDataChannel; ++i)
    host_.RegisterEvent({i, kPanelEvents[i].Name, kPanelEvents[i].DisplayText});
  for (const TKQWLUserEvent& event : settings_.UserEvents) {
    const std::string id = std::to_string(event.ID);
    host_.RegisterEvent({event.ID, event.userName, "User Event (value =" + id + ")"});
    const std::string name =
        event.internalName.empty() ? event.GenerateInternalName() : event.internalName;
    evaluator_.DefineConstant(name, event.ID, "User Event ID (" + id + ")", "Constants.htm");
    constantNames_.push_back(name);
    constantTexts_.push_back("User Event ID (" + id + ")");
  }
}

void TKQVXFormulaPanel::OnVariable(std::size_t index, bool read, TPropertyValue& value) {
  const std::vector<TVXParsDouble>& current = SnapshotInputs() ? pending_.Inputs : inputs_;
  if (read) {
    if (index < current.size())
      value = current[index].Value;
    else
      value = std::int64_t{0};
    return;
  }
  std::vector<TVXParsDouble>& slots = SnapshotInputs() ? pending_.Inputs : inputs_;
  if (index >= slots.size()) return;
  double number = 0;
  if (const auto* d = std::get_if<double>(&value))
    number = *d;
  else if (const auto* i = std::get_if<std::int64_t>(&value))
    number = static_cast<double>(*i);
  else if (const auto* b = std::get_if<bool>(&value))
    number = *b ? 1 : 0;
  else if (const auto* s = std::get_if<std::string>(&value); !s || !TryStrToFloat(*s, '.', number))
    return;  // nothing that converts to a number: the input keeps its value
  slots[index].VarType = vtDouble;
  slots[index].Value = number;
}

void TKQVXFormulaPanel::OnStringVariable(bool read, TPropertyValue& value) {
  if (read) {
    value = SnapshotInputs() ? pending_.StringInput : stringInput_.StrValue;
    return;
  }
  std::string text;
  if (const auto* s = std::get_if<std::string>(&value))
    text = *s;
  else if (const auto* d = std::get_if<double>(&value))
    text = FloatToStr(*d);
  else if (const auto* i = std::get_if<std::int64_t>(&value))
    text = std::to_string(*i);
  if (SnapshotInputs())
    pending_.StringInput = text;
  else
    SetString(stringInput_, text);
}

// The expression property shows the result last handed to the host; it cannot be written.
void TKQVXFormulaPanel::OnExpression(bool read, TPropertyValue& value) {
  if (!read) return;
  if (publishedResult_.VarType == vtString)
    value = publishedResult_.StrValue;
  else
    value = publishedResult_.Value;
}

}  // namespace loom
