// Values, words and expression records of the formula language.
//
// A formula computes with one value type, TVXParsDouble, that holds a number, a vector, a
// matrix, a string or a boolean. Everything a formula can name is a word (TVXParsExprWord and
// descendants) kept by name in the evaluator's word list; compiled formulas are lists of
// TVXParsExpressionRec nodes, each of which runs one word's procedure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/ParserHelpers.h"

namespace loom {

// Data kinds of a value (0..3, 10) and syntactic kinds of a word (4..9). The numbers are part of
// the language's interface (settings and host calls use them): append, never reorder.
enum TVXPArsVarType : std::uint8_t {
  vtDouble,
  vtVector,
  vtString,
  vtBoolean,
  vtLeftBracket,
  vtRightBracket,
  vtComma,
  vtVectorLeftBracket,
  vtVectorRightBracket,
  vtJump,
  vtMatrix
};

// The kind pair of a two-argument operation; the misspelt name is the declared one.
enum TVXPArsArgsType : std::uint8_t {
  atArg0DoubleArg1Double,
  atArg0DoubleArg1Vector,
  atArg0VectorArg1Double,
  atArg0VectorArg1Vector,
  atArg0DoubleArg1Matrix,
  atArg0MatrixArg1Double,
  atArg0VectorArg1Matrix,
  atArg0MatrixArg1Vector,
  atArg0MaxtrixArg1Matrix,
  atArgOther
};

// ORDER TVXParsJumpType: kJumpCommandNames lists the commands in this order.
enum TVXParsJumpType : std::uint8_t {
  jtNone,
  jtIf,
  jtElse,
  jtEndIF,
  jtWhile,
  jtWend,
  jtRepeat,
  jtUntil
};

// The command word of each jump type as users write it; empty for jtNone.
inline constexpr const char* kJumpCommandNames[] = {"",      "If",   "Else",   "EndIf",
                                                    "While", "Wend", "Repeat", "Until"};
static_assert(std::size(kJumpCommandNames) == jtUntil + 1, "one name per TVXParsJumpType");
inline const char* JumpCommandName(TVXParsJumpType type) {
  return kJumpCommandNames[type];
}
// The jump type of a command word in any letter case; jtNone for every other name.
TVXParsJumpType JumpTypeOfName(const std::string& name);

// Groups of the function list; the order is shown to users by the property page.
enum TVXParsFunctionType : std::uint8_t {
  vxtBasic,
  vxtSpecial,
  vxtTrigonometric,
  vxtVector,
  vxtTranscendent,
  vxtSystem,
  vxtJump,
  vxtString,
  vxtMatlab,
  vxtFileIO,
  vxtRS232Input,
  vxtRS232Output,
  vxtMatrix
};

using TVXVect = std::vector<double>;
using TVXMatrix = std::vector<TVXVect>;

// The one value type of the language. Only the field that VarType names is meaningful; the
// others may hold stale data. Vectors and strings keep their storage when overwritten, so a
// node that produces the same shape every evaluation stops allocating after the first.
struct TVXParsDouble {
  TVXPArsVarType VarType = vtDouble;
  // Set by a jump command whose jump is to be taken; read by the section runner.
  bool JumpFlag = false;
  double Value = 0.0;
  TVXVect Vector;
  TVXMatrix Matrix;
  std::string StrValue;

  static TVXParsDouble Number(double value);
  static TVXParsDouble Boolean(bool value);
  static TVXParsDouble FromVector(TVXVect vector);
  static TVXParsDouble FromString(std::string text);
};

// Copies a value's kind and the field that kind uses (vector, string, matrix, else the number)
// into destination, reusing its storage; the other fields and the jump flag stay as they were.
// Nothing is shared afterwards, so the copy may cross to another thread.
void CopyParsDouble(const TVXParsDouble& source, TVXParsDouble& destination);

// The not-a-number value whose 64 bits are all set: the value of a constant without a value
// and of an empty expression.
double EmptyNaN();
// The result of an empty expression or a negative index: number kind holding EmptyNaN.
TVXParsDouble EmptyResult();

// The engine's one exception: a message text only.
class EVXParserException : public std::runtime_error {
 public:
  explicit EVXParserException(const std::string& message) : std::runtime_error(message) {}
};

struct TVXParsExpressionRec;
class TVXExpressionEvaluatorBase;

// The evaluation procedure of a word: reads the node's arguments, writes the node's result.
using TVXParsProc = void (*)(TVXParsExpressionRec* rec);

// Copies the word's value into the node's result: the procedure of every constant and variable.
void _VXParsVariable(TVXParsExpressionRec* rec);
// Compares the texts of a logical string operator's two operand words.
void _VXParsLogString(TVXParsExpressionRec* rec);

class TVXParsExprWord : public TVXParsObject {
 public:
  TVXParsExprWord(std::string name, TVXParsProc func) : Name(std::move(name)), Func(func) {}

  std::string Name;
  TVXParsProc Func;

  virtual bool GetIsOper() const { return false; }
  virtual std::string GetAsString() const { return {}; }
  virtual bool GetCanVary() const { return false; }
  virtual TVXPArsVarType GeTVXPArsVarType() const { return vtDouble; }
  virtual int GetNFunctionArg() const { return 0; }
  virtual bool GetDynamicArgs() const { return false; }
  // The value a node reads in place of this word, or null for words without a value.
  virtual TVXParsDouble* AsPointer() { return nullptr; }

  bool GetIsVariable() const { return Func == &_VXParsVariable; }
};

class TVXParsDoubleConstant : public TVXParsExprWord {
 public:
  // The value converted from text; an empty text gives EmptyNaN (a constant without a value).
  TVXParsDoubleConstant(std::string name, const std::string& valueText,
                        char decimalSeparator = '.');
  TVXParsDoubleConstant(std::string name, double value, std::string description,
                        std::string helpFile);
  // A string constant; one enclosing pair of double quotes is stripped.
  TVXParsDoubleConstant(std::string name, const std::string& text, std::string description,
                        std::string helpFile, bool /*isString*/);
  TVXParsDoubleConstant(std::string name, const TVXVect& vector, std::string description,
                        std::string helpFile);
  // Any value as it stands (the constants that folding makes).
  TVXParsDoubleConstant(std::string name, const TVXParsDouble& value);

  TVXParsDouble Value;
  std::string Description;
  std::string HelpFile;

  TVXParsDouble* AsPointer() override { return &Value; }
};

// Deliberately every registered constant but pi is of this class: the syntax check sees a
// boolean while the value holds a number.
class TVXParsBooleanConstant : public TVXParsDoubleConstant {
 public:
  TVXParsBooleanConstant(std::string name, double value, std::string description,
                         std::string helpFile);
  TVXParsBooleanConstant(std::string name, const TVXParsDouble& value);
  TVXPArsVarType GeTVXPArsVarType() const override { return vtBoolean; }
};

// A variable the evaluator makes itself for a name that is not yet a word: number 0 at first,
// afterwards of the kind last assigned.
class TVXParsGeneratedVariable : public TVXParsDoubleConstant {
 public:
  explicit TVXParsGeneratedVariable(std::string name);
  std::string StrValue;
  std::string GetAsString() const override { return Value.StrValue; }
  bool GetCanVary() const override { return true; }
  TVXPArsVarType GeTVXPArsVarType() const override { return Value.VarType; }
  void SetVarType(TVXPArsVarType type) { Value.VarType = type; }
};

// A variable bound to a value owned by the caller, read and written in place.
class TVXParsDoubleVariable : public TVXParsExprWord {
 public:
  TVXParsDoubleVariable(std::string name, TVXParsDouble* valuePtr, std::string description,
                        std::string helpFile);
  TVXParsDouble* ValuePtr;
  std::string Description;
  std::string HelpFile;
  bool GetCanVary() const override { return true; }
  TVXParsDouble* AsPointer() override { return ValuePtr; }
};

// A fixed text; the name keeps the text as written, quotes included.
class TVXParsStringConstant : public TVXParsExprWord {
 public:
  explicit TVXParsStringConstant(const std::string& text);
  const std::string& Text() const { return value_.StrValue; }
  std::string GetAsString() const override { return value_.StrValue; }
  TVXPArsVarType GeTVXPArsVarType() const override { return vtString; }
  TVXParsDouble* AsPointer() override { return &value_; }

 private:
  TVXParsDouble value_;
};

// A text owned by the caller. Formulas read it (a node loads it on every evaluation); since
// it is not a value of the language, assignments cannot reach it.
class TVXParsStringVariable : public TVXParsExprWord {
 public:
  TVXParsStringVariable(std::string name, std::string* textPtr);
  std::string* TextPtr;
  std::string GetAsString() const override { return *TextPtr; }
  bool GetCanVary() const override { return true; }
  TVXPArsVarType GeTVXPArsVarType() const override { return vtString; }
};

class TVXParsLeftBracket : public TVXParsExprWord {
 public:
  explicit TVXParsLeftBracket(std::string name) : TVXParsExprWord(std::move(name), nullptr) {}
  TVXPArsVarType GeTVXPArsVarType() const override { return vtLeftBracket; }
};

class TVXParsRightBracket : public TVXParsExprWord {
 public:
  explicit TVXParsRightBracket(std::string name) : TVXParsExprWord(std::move(name), nullptr) {}
  TVXPArsVarType GeTVXPArsVarType() const override { return vtRightBracket; }
};

class TVXParsComma : public TVXParsExprWord {
 public:
  explicit TVXParsComma(std::string name) : TVXParsExprWord(std::move(name), nullptr) {}
  TVXPArsVarType GeTVXPArsVarType() const override { return vtComma; }
};

class TVXParsVectorRightBracket : public TVXParsExprWord {
 public:
  explicit TVXParsVectorRightBracket(std::string name)
      : TVXParsExprWord(std::move(name), nullptr) {}
  TVXPArsVarType GeTVXPArsVarType() const override { return vtVectorRightBracket; }
};

// What a word computes element by element, if it is pure arithmetic.
enum class TVXKernelOp : std::uint8_t {
  kNone,         // not arithmetic: the expression keeps its linear list only
  kAdd,          // broadcasting a + b
  kSubtract,     // broadcasting a - b
  kMultiply,     // broadcasting a * b
  kDivide,       // broadcasting a / b
  kUnary,        // element rule: Unary(x) for a number or every element
  kBinary,       // broadcasting Binary(a, b)
  kScalarRight,  // element rule on argument 0 with argument 1 read as a number: Binary(x, y)
  kCompare,      // Binary(a, b) of two numbers; a vector operand leaves the fast path
  kCopy,         // the number or vector of argument 0 ("+@")
  kAssign,       // assignment of a number or vector to a variable (only as the last operation)
};

struct TVXParsKernel {
  TVXKernelOp Op = TVXKernelOp::kNone;
  double (*Unary)(double) = nullptr;
  double (*Binary)(double, double) = nullptr;
  bool MayThrow = false;  // the operation can raise (an integer conversion, say)
  // The same operation over a block of elements, when the word provides it: one loop with the
  // element operation inlined instead of a call through Unary or Binary per element. A binary
  // block broadcasts as ApplyBlock (engine/Kernel.h) does; xs and ys mark an operand that is one
  // number for every element.
  void (*UnaryBlock)(const double* x, double* out, std::size_t n) = nullptr;
  void (*BinaryBlock)(const double* x, bool xs, const double* y, bool ys, double* out,
                      std::size_t n) = nullptr;
  // For a binary operation, when the word provides it: the operation with its right operand
  // fixed to the constant right, as a unary function that computes exactly what Binary(x, right)
  // does and cannot raise (x^2 as a square, say); null for a constant it has no such form for.
  double (*(*WithRight)(double right))(double) = nullptr;
};

// A function or an operator, and the registration record of the function list.
class TVXParsFunction : public TVXParsExprWord {
 public:
  // The function form: not an operator, precedence 0.
  TVXParsFunction(std::string name, TVXParsProc func, int nFunctionArg, std::string syntax,
                  TVXParsFunctionType functionType, std::string description, std::string defaults,
                  std::string helpFile);
  // The operator form.
  TVXParsFunction(std::string name, TVXParsProc func, int nFunctionArg, bool isOper, int precedence,
                  std::string description, std::string helpFile);

  bool IsOper = false;
  int Precedence = 0;
  int NFunctionArg = 0;
  std::string Syntax;
  std::string Defaults;
  TVXParsFunctionType FunctionType = vxtBasic;
  std::string Description;
  std::string HelpFile;
  // Set for pure arithmetic words: what the fast path of arithmetic formulas computes.
  TVXParsKernel Kernel;
  // Bit i set: the function writes into argument i, which therefore may not be a constant.
  std::uint32_t WrittenArgs = 0;

  bool GetIsOper() const override { return IsOper; }
  int GetNFunctionArg() const override { return NFunctionArg; }
};

// A function whose result may change between evaluations with the same arguments.
class TVXParsVaryingFunction : public TVXParsFunction {
 public:
  using TVXParsFunction::TVXParsFunction;
  bool GetCanVary() const override { return true; }
};

class TVXParsBooleanFunction : public TVXParsFunction {
 public:
  using TVXParsFunction::TVXParsFunction;
  TVXPArsVarType GeTVXPArsVarType() const override { return vtBoolean; }
};

// If, Else, EndIF, While, Wend, Repeat, Until: their result carries the jump flag.
class TVXParsJumpFunction : public TVXParsVaryingFunction {
 public:
  using TVXParsVaryingFunction::TVXParsVaryingFunction;
  TVXPArsVarType GeTVXPArsVarType() const override { return vtJump; }
};

// "[": builds a vector of any number of arguments.
class TVXParsVectorLeftBracket : public TVXParsFunction {
 public:
  using TVXParsFunction::TVXParsFunction;
  TVXPArsVarType GeTVXPArsVarType() const override { return vtVectorLeftBracket; }
  bool GetDynamicArgs() const override { return true; }
};

// A comparison of the texts of two words: "=", ">", "<", ">=", "<=" or "in" (contained in).
class TVXParsLogicalStringOper : public TVXParsExprWord {
 public:
  TVXParsLogicalStringOper(const std::string& operText, TVXParsExprWord* left,
                           TVXParsExprWord* right);
  std::uint8_t OperKind = 0;
  TVXParsExprWord* Left;
  TVXParsExprWord* Right;
  bool GetCanVary() const override;
  TVXPArsVarType GeTVXPArsVarType() const override { return vtBoolean; }
};

// The marker of a jump command in a compiled list: its kind and where execution continues.
class TVXParsJumpObject : public TVXParsObject {
 public:
  TVXParsJumpType JumpType = jtNone;
  int Target = -1;
};

// One node of a compiled expression. Nodes of a linear list run in order; every argument is
// read through ArgData, which points either at another node's Result or directly at the value
// of a constant or variable, so functions that write into an argument write into the variable.
struct TVXParsExpressionRec {
  TVXParsExprWord* Word = nullptr;
  TVXParsProc Func = nullptr;
  std::vector<TVXParsExpressionRec*> ArgRecs;  // the tree form; empty slots are null
  std::vector<TVXParsDouble*> ArgData;         // what each argument yields; null when missing
  TVXParsDouble Result;
  TVXParsExpressionRec* Next = nullptr;
  TVXExpressionEvaluatorBase* Owner = nullptr;

  TVXParsDouble& Arg(std::size_t index) const { return *ArgData[index]; }
  std::size_t ArgCount() const { return ArgData.size(); }
};

// An event a formula queues during a run; the panel fires it afterwards.
class TDeferredEvent : public TVXParsObject {
 public:
  TDeferredEvent(std::int32_t eventID, std::int32_t channelIndex, double startTime, double endTime,
                 std::int32_t iData1, std::int32_t iData2, double dData1, double dData2,
                 double dData3, double dData4, std::string additionalText);
  TDeferredEvent(std::int32_t eventID, std::string additionalText);

  std::int32_t eventID = 0;
  std::int32_t channelIndex = 0;
  double startTime = 0;
  double endTime = 0;
  std::int32_t iData1 = 0;
  std::int32_t iData2 = 0;
  double dData1 = 0;
  double dData2 = 0;
  double dData3 = 0;
  double dData4 = 0;
  std::string additionalText;
  // True when made by the full constructor: the panel fires the long event form for it.
  bool hasNumericArguments = false;
};

// The display text of a number: 15 significant digits, fixed notation while the integer part
// has at most 15 digits and the magnitude is at least 0.00001, else "1.5E20" / "1E-7".
std::string FloatToStr(double value, char decimalSeparator = '.');

// The display text of a value: numbers as FloatToStr, vectors as "[ 1, 2.5]", strings as they
// are, booleans "True"/"False", anything else "Invalid datatype".
std::string ParsDoubleAsString(const TVXParsDouble& value, char decimalSeparator = '.');

// Converts number text (sign, digits, one decimal separator, optional exponent) as a whole;
// false when the text is not such a number. Overflow gives an infinity, underflow zero.
bool TryStrToFloat(const std::string& text, char decimalSeparator, double& value);

}  // namespace loom
