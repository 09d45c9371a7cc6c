// Serial port and engine bridge functions: thin bodies that check their arguments and hand the
// work to the evaluator's host (the panel's serial port, the engine bridge).
#include <cctype>
#include <charconv>
#include <string_view>

#include "engine/Evaluator.h"
#include "functions/Bodies.h"
#include "functions/BodyHelpers.h"
#include "functions/FormulaHost.h"

namespace loom {

namespace {

[[noreturn]] void FailInvalidParameters() {
  throw EVXParserException(rsInvalidParameters);
}

const std::string& StringArg(TVXParsExpressionRec* rec, std::size_t index) {
  const TVXParsDouble& arg = rec->Arg(index);
  if (arg.VarType != vtString) FailInvalidParameters();
  return arg.StrValue;
}

void SetNumber(TVXParsExpressionRec* rec, double value) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = value;
}

// Blanks and control characters at both ends removed, as the column-count rule trims.
std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && static_cast<unsigned char>(text.front()) <= ' ') text.remove_prefix(1);
  while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

// The number of columns in the display text of "size(name,2)", which shows the value after a
// blank line ("ans =", "", "     5"). The positions are found in the untrimmed text and applied
// to the trimmed one, which is exact only when the text does not begin with blanks; deliberately
// kept so. Anything that is not a number counts 0.
int EngineColumnCount(std::string_view output) {
  const std::size_t blank = output.find("\n\n");
  // 1-based positions: p is where the value's line begins.
  const std::size_t p = (blank == std::string_view::npos ? 0 : blank + 1) + 2;
  const std::size_t next = output.find('\n', p + 1);
  if (next == std::string_view::npos || next + 1 <= p) return 0;
  const std::string_view trimmed = Trimmed(output);
  if (p - 1 >= trimmed.size()) return 0;
  std::string_view text = trimmed.substr(p - 1, next + 1 - p);
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  int count = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  return error == std::errc() && end == text.data() + text.size() ? count : 0;
}

// Sends the text's bytes unchanged when the panel's port is open; 1 in every case.
void _VXParsSerialWriteString(TVXParsExpressionRec* rec) {
  HostOf(rec).SerialWriteString(StringArg(rec, 0));
  SetNumber(rec, 1);
}

void _VXParsMatlabCommand(TVXParsExpressionRec* rec) {
  const std::string& command = StringArg(rec, 0);
  TEngineReply reply = EngineOf(rec, "MatlabCommand").ExecuteCommand(command);
  if (reply.Failed) {
    // The error text is one message: without the line end the command window gave it.
    while (!reply.Output.empty() && reply.Output.back() == '\n') reply.Output.pop_back();
    throw EVXParserException(reply.Output);
  }
  rec->Result.VarType = vtString;
  rec->Result.StrValue = std::move(reply.Output);
}

void _VXParsMatlabPutVector(TVXParsExpressionRec* rec) {
  const std::string& name = StringArg(rec, 0);
  const TVXParsDouble& vector = rec->Arg(1);
  if (vector.VarType != vtVector) FailInvalidParameters();
  EngineOf(rec, "MatlabPutVector").PutVector(name, vector.Vector);
  SetNumber(rec, 1);
}

// Reads the engine's variable into the vector variable, as many elements as it has columns; a
// variable the engine does not know has no columns: the result is 0 and the vector stays.
void _VXParsMatlabGetVector(TVXParsExpressionRec* rec) {
  const std::string& name = StringArg(rec, 0);
  TFormulaEngine& engine = EngineOf(rec, "MatlabGetVector");
  const TEngineReply reply = engine.ExecuteCommand("size(" + name + ",2)");
  const int count = reply.Failed ? 0 : EngineColumnCount(reply.Output);
  if (count < 1) {
    SetNumber(rec, 0);
    return;
  }
  TVXParsDouble& vector = rec->Arg(1);
  TVXVect values(static_cast<std::size_t>(count));
  engine.GetVector(name, values);
  vector.VarType = vtVector;
  vector.Vector = std::move(values);
  SetNumber(rec, 1);
}

}  // namespace loom
