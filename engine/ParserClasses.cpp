#include "engine/ParserClasses.h"

#include <locale.h>
#include <strings.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "engine/Messages.h"

namespace loom {

TVXParsDouble TVXParsDouble::Number(double value) {
  TVXParsDouble v;
  v.Value = value;
  return v;
}

TVXParsDouble TVXParsDouble::Boolean(bool value) {
  TVXParsDouble v;
  v.VarType = vtBoolean;
  v.Value = value ? 1.0 : 0.0;
  return v;
}

TVXParsDouble TVXParsDouble::FromVector(TVXVect vector) {
  TVXParsDouble v;
  v.VarType = vtVector;
  v.Vector = std::move(vector);
  return v;
}

TVXParsDouble TVXParsDouble::FromString(std::string text) {
  TVXParsDouble v;
  v.VarType = vtString;
  v.StrValue = std::move(text);
  return v;
}

double EmptyNaN() {
  return std::bit_cast<double>(~std::uint64_t{0});
}

TVXParsDouble EmptyResult() {
  return TVXParsDouble::Number(EmptyNaN());
}

void CopyParsDouble(const TVXParsDouble& source, TVXParsDouble& destination) {
  destination.VarType = source.VarType;
  switch (source.VarType) {
    case vtVector:
      destination.Vector = source.Vector;
      break;
    case vtString:
      destination.StrValue = source.StrValue;
      break;
    case vtMatrix:
      destination.Matrix = source.Matrix;
      break;
    default:
      destination.Value = source.Value;
      break;
  }
}

void _VXParsVariable(TVXParsExpressionRec* rec) {
  CopyParsDouble(*rec->ArgData[0], rec->Result);
}

TVXParsJumpType JumpTypeOfName(const std::string& name) {
  for (std::size_t type = jtIf; type < std::size(kJumpCommandNames); ++type)
    if (strcasecmp(name.c_str(), kJumpCommandNames[type]) == 0)
      return static_cast<TVXParsJumpType>(type);
  return jtNone;
}

namespace {

// Strips one enclosing pair of double quotes; a lone quote counts as both ends.
std::string StripQuotes(const std::string& text) {
  if (!text.empty() && text.front() == '"' && text.back() == '"')
    return text.size() >= 2 ? text.substr(1, text.size() - 2) : std::string();
  return text;
}

// Loads a caller-owned text into the node: the procedure of TVXParsStringVariable.
void LoadStringVariable(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtString;
  rec->Result.StrValue = *static_cast<TVXParsStringVariable*>(rec->Word)->TextPtr;
}

}  // namespace

bool TryStrToFloat(const std::string& text, char decimalSeparator, double& value) {
  // Validate the shape first so that strtod's wider grammar (hex, inf, nan) is never used.
  std::size_t i = 0;
  const std::size_t n = text.size();
  if (i < n && (text[i] == '+' || text[i] == '-')) ++i;
  std::size_t digits = 0;
  std::string plain = text.substr(0, i);
  while (i < n && std::isdigit(static_cast<unsigned char>(text[i]))) plain += text[i++], ++digits;
  if (i < n && text[i] == decimalSeparator) {
    plain += '.';
    ++i;
    while (i < n && std::isdigit(static_cast<unsigned char>(text[i]))) plain += text[i++], ++digits;
  }
  if (digits == 0) return false;
  if (i < n && (text[i] == 'e' || text[i] == 'E')) {
    plain += 'e';
    ++i;
    if (i < n && (text[i] == '+' || text[i] == '-')) plain += text[i++];
    std::size_t expDigits = 0;
    while (i < n && std::isdigit(static_cast<unsigned char>(text[i])))
      plain += text[i++], ++expDigits;
    if (expDigits == 0) return false;
  }
  if (i != n) return false;
  static locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  value = strtod_l(plain.c_str(), nullptr, cLocale);
  return true;
}

TVXParsDoubleConstant::TVXParsDoubleConstant(std::string name, const std::string& valueText,
                                             char decimalSeparator)
    : TVXParsExprWord(std::move(name), &_VXParsVariable) {
  if (valueText.empty()) {
    Value.Value = EmptyNaN();
  } else if (!TryStrToFloat(valueText, decimalSeparator, Value.Value)) {
    throw EVXParserException(FormatMessage(rsNotAValidNumber, {valueText}));
  }
}

TVXParsDoubleConstant::TVXParsDoubleConstant(std::string name, double value,
                                             std::string description, std::string helpFile)
    : TVXParsExprWord(std::move(name), &_VXParsVariable),
      Description(std::move(description)),
      HelpFile(std::move(helpFile)) {
  Value.Value = value;
}

TVXParsDoubleConstant::TVXParsDoubleConstant(std::string name, const std::string& text,
                                             std::string description, std::string helpFile, bool)
    : TVXParsExprWord(std::move(name), &_VXParsVariable),
      Description(std::move(description)),
      HelpFile(std::move(helpFile)) {
  Value.VarType = vtString;
  Value.StrValue = StripQuotes(text);
}

TVXParsDoubleConstant::TVXParsDoubleConstant(std::string name, const TVXVect& vector,
                                             std::string description, std::string helpFile)
    : TVXParsExprWord(std::move(name), &_VXParsVariable),
      Description(std::move(description)),
      HelpFile(std::move(helpFile)) {
  Value.VarType = vtVector;
  Value.Vector = vector;
}

TVXParsDoubleConstant::TVXParsDoubleConstant(std::string name, const TVXParsDouble& value)
    : TVXParsExprWord(std::move(name), &_VXParsVariable), Value(value) {
  Value.JumpFlag = false;
}

TVXParsBooleanConstant::TVXParsBooleanConstant(std::string name, double value,
                                               std::string description, std::string helpFile)
    : TVXParsDoubleConstant(std::move(name), value, std::move(description), std::move(helpFile)) {}

TVXParsBooleanConstant::TVXParsBooleanConstant(std::string name, const TVXParsDouble& value)
    : TVXParsDoubleConstant(std::move(name), value) {}

TVXParsGeneratedVariable::TVXParsGeneratedVariable(std::string name)
    : TVXParsDoubleConstant(std::move(name), std::string()) {
  Value = TVXParsDouble();
}

TVXParsDoubleVariable::TVXParsDoubleVariable(std::string name, TVXParsDouble* valuePtr,
                                             std::string description, std::string helpFile)
    : TVXParsExprWord(std::move(name), &_VXParsVariable),
      ValuePtr(valuePtr),
      Description(std::move(description)),
      HelpFile(std::move(helpFile)) {}

TVXParsStringConstant::TVXParsStringConstant(const std::string& text)
    : TVXParsExprWord(text, &_VXParsVariable) {
  value_.VarType = vtString;
  value_.StrValue = StripQuotes(text);
}

TVXParsStringVariable::TVXParsStringVariable(std::string name, std::string* textPtr)
    : TVXParsExprWord(std::move(name), &LoadStringVariable), TextPtr(textPtr) {}

TVXParsFunction::TVXParsFunction(std::string name, TVXParsProc func, int nFunctionArg,
                                 std::string syntax, TVXParsFunctionType functionType,
                                 std::string description, std::string defaults,
                                 std::string helpFile)
    : TVXParsExprWord(std::move(name), func),
      NFunctionArg(nFunctionArg),
      Syntax(std::move(syntax)),
      Defaults(std::move(defaults)),
      FunctionType(functionType),
      Description(std::move(description)),
      HelpFile(std::move(helpFile)) {}

TVXParsFunction::TVXParsFunction(std::string name, TVXParsProc func, int nFunctionArg, bool isOper,
                                 int precedence, std::string description, std::string helpFile)
    : TVXParsExprWord(std::move(name), func),
      IsOper(isOper),
      Precedence(precedence),
      NFunctionArg(nFunctionArg),
      Description(std::move(description)),
      HelpFile(std::move(helpFile)) {}

namespace {
constexpr const char* kStringOperators[] = {"=", ">", "<", ">=", "<=", "in"};
}

TVXParsLogicalStringOper::TVXParsLogicalStringOper(const std::string& operText,
                                                   TVXParsExprWord* left, TVXParsExprWord* right)
    : TVXParsExprWord(operText, &_VXParsLogString), Left(left), Right(right) {
  for (std::uint8_t kind = 0; kind < std::size(kStringOperators); ++kind) {
    if (operText == kStringOperators[kind]) {
      OperKind = kind;
      return;
    }
  }
  throw EVXParserException(FormatMessage(rsNotValidStringOperand, {operText}));
}

bool TVXParsLogicalStringOper::GetCanVary() const {
  return (Left && Left->GetCanVary()) || (Right && Right->GetCanVary());
}

void _VXParsLogString(TVXParsExpressionRec* rec) {
  auto* oper = static_cast<TVXParsLogicalStringOper*>(rec->Word);
  const std::string left = oper->Left ? oper->Left->GetAsString() : std::string();
  const std::string right = oper->Right ? oper->Right->GetAsString() : std::string();
  bool truth = false;
  switch (oper->OperKind) {
    case 0:
      truth = left == right;
      break;
    case 1:
      truth = left > right;
      break;
    case 2:
      truth = left < right;
      break;
    case 3:
      truth = left >= right;
      break;
    case 4:
      truth = left <= right;
      break;
    default:
      truth = right.find(left) != std::string::npos;
      break;
  }
  rec->Result.Value = truth ? 1.0 : 0.0;
}

TDeferredEvent::TDeferredEvent(std::int32_t eventID, std::int32_t channelIndex, double startTime,
                               double endTime, std::int32_t iData1, std::int32_t iData2,
                               double dData1, double dData2, double dData3, double dData4,
                               std::string additionalText)
    : eventID(eventID),
      channelIndex(channelIndex),
      startTime(startTime),
      endTime(endTime),
      iData1(iData1),
      iData2(iData2),
      dData1(dData1),
      dData2(dData2),
      dData3(dData3),
      dData4(dData4),
      additionalText(std::move(additionalText)),
      hasNumericArguments(true) {}

TDeferredEvent::TDeferredEvent(std::int32_t eventID, std::string additionalText)
    : eventID(eventID), additionalText(std::move(additionalText)) {}

std::string FloatToStr(double value, char decimalSeparator) {
  if (std::isnan(value)) return "NAN";
  if (std::isinf(value)) return value > 0 ? "INF" : "-INF";
  if (value == 0) return "0";
  constexpr int kPrecision = 15;
  constexpr int kIntermediate = 17;
  // The run-time's conversion first forms 17 significant digits (all that a double holds) and
  // then rounds those half up to 15, so a value whose 17 digits end in 50 rounds up even where
  // the binary value lies just below the half: 0.1234567890123125, held as
  // 0.12345678901231249600, gives 0.123456789012313, and 100000000000000.5 100000000000001.
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.*e", kIntermediate - 1, std::fabs(value));
  std::string digits;
  const char* p = buffer;
  for (; *p && *p != 'e'; ++p)
    if (*p >= '0' && *p <= '9') digits += *p;
  int exponent = std::atoi(p + 1);  // value = d.ddd... * 10^exponent
  const bool roundUp = digits[kPrecision] >= '5';
  digits.resize(kPrecision);
  if (roundUp) {
    std::size_t i = kPrecision;
    while (i > 0 && digits[i - 1] == '9') digits[--i] = '0';
    if (i > 0) {
      ++digits[i - 1];
    } else {  // 999...9 became 1000...0
      digits.front() = '1';
      ++exponent;
    }
  }
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();

  std::string out = value < 0 ? "-" : "";
  const int intDigits = exponent + 1;
  if (intDigits <= kPrecision && exponent >= -5) {
    if (intDigits <= 0) {
      out += '0';
      out += decimalSeparator;
      out.append(static_cast<std::size_t>(-intDigits), '0');
      out += digits;
    } else if (static_cast<int>(digits.size()) <= intDigits) {
      out += digits;
      out.append(static_cast<std::size_t>(intDigits) - digits.size(), '0');
    } else {
      out += digits.substr(0, static_cast<std::size_t>(intDigits));
      out += decimalSeparator;
      out += digits.substr(static_cast<std::size_t>(intDigits));
    }
    return out;
  }
  out += digits[0];
  if (digits.size() > 1) {
    out += decimalSeparator;
    out += digits.substr(1);
  }
  out += 'E';
  out += std::to_string(exponent);
  return out;
}

std::string ParsDoubleAsString(const TVXParsDouble& value, char decimalSeparator) {
  switch (value.VarType) {
    case vtDouble:
      return FloatToStr(value.Value, decimalSeparator);
    case vtVector: {
      // Each element is " x," and the last character then becomes "]"; an empty vector is
      // deliberately left to the same rule and shows as "]".
      std::string text = "[";
      for (double element : value.Vector) {
        text += ' ';
        text += FloatToStr(element, decimalSeparator);
        text += ',';
      }
      text.back() = ']';
      return text;
    }
    case vtString:
      return value.StrValue;
    case vtBoolean:
      return value.Value != 0 ? "True" : "False";
    default:
      return rsInvalidDatatype;
  }
}

}  // namespace loom
