// The formula compiler and evaluator.
//
// TVXExpressionEvaluatorBase holds a word list, compiles formula texts into linear lists of
// expression records (ParseString, Check, MakeTree, CheckArguments, RemoveConstants,
// MakeLinkedList, one stage per source file) and evaluates them on demand. The words of the
// language itself are registered by a derived class (TVXExpressionEvaluator in functions/), so
// that the engine does not depend on the function library.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/Kernel.h"
#include "engine/ParserClasses.h"
#include "engine/ParserHelpers.h"

namespace loom {

// Limits that keep hostile or mistaken input from exhausting the stack or the memory.
inline constexpr std::size_t kMaxFormulaLength = 1 << 20;  // characters of one expression
inline constexpr int kMaxNestingDepth = 1000;              // brackets, calls and prefix operators
inline constexpr int kMaxChainLength = 5000;               // operators in one chain, as in 1+1+1
// The most elements a function may give a vector it sizes from a formula's number (1 GiB).
inline constexpr std::size_t kMaxVectorLength = std::size_t{1} << 27;

// One compiled expression of the evaluator's expression list.
struct TVXParsExpression {
  std::string Text;
  TVXParsExpressionRec* Head = nullptr;  // first node to run; null without a compiled form
  TVXParsExpressionRec* Last = nullptr;  // the node that holds the expression's result
  TVXParsJumpType JumpType = jtNone;
  int Size = 0;  // nodes run per evaluation
  // Every record and constant made while compiling; the linear list points into them.
  std::vector<std::unique_ptr<TVXParsExpressionRec>> Records;
  std::vector<std::unique_ptr<TVXParsExprWord>> Constants;
  // The fast path of an arithmetic expression; null for every other expression.
  std::unique_ptr<TVXKernelProgram> Program;
};

// How dates, times and grouped numbers are written and read; the evaluator's owner may change
// them. Pattern letters are those of FormatDateTime.
struct TVXFormatSettings {
  char DateSeparator = '-';
  char TimeSeparator = ':';
  std::string ShortDateFormat = "yyyy-mm-dd";
  std::string LongDateFormat = "dddd, mmmm d, yyyy";
  std::string ShortTimeFormat = "hh:nn";
  std::string LongTimeFormat = "hh:nn:ss";
  std::string TimeAMString = "AM";
  std::string TimePMString = "PM";
};

class TVXExpressionEvaluatorBase {
 public:
  // decimalSeparator is the one numbers are written with; with ',' the list separator is ';'.
  explicit TVXExpressionEvaluatorBase(char decimalSeparator = '.');
  virtual ~TVXExpressionEvaluatorBase();
  TVXExpressionEvaluatorBase(const TVXExpressionEvaluatorBase&) = delete;
  TVXExpressionEvaluatorBase& operator=(const TVXExpressionEvaluatorBase&) = delete;

  // Registers every word of the language; called by the constructor of the derived class and
  // again by Reset.
  virtual void FillExpressList() = 0;

  // --- compiling and evaluating ---

  // Compiles text and appends it to the expression list; returns its index, or -1 (and
  // compiles nothing) for an empty text. Throws EVXParserException on a compile error.
  int AddExpression(const std::string& text);
  // Appends an expression that yields the empty result, keeping its text; a script's empty
  // line keeps its place in the index sequence this way.
  int AddEmptyExpression(const std::string& text = std::string());
  // Compiles text as a new expression and evaluates it once.
  TVXParsDouble Evaluate(const std::string& text);
  // Evaluates the expression at index (which becomes current); a negative index gives
  // EmptyResult. The second form writes into result and reuses its storage.
  TVXParsDouble GetResults(int index);
  void GetResults(int index, TVXParsDouble& result);
  // Evaluates like GetResults but hands out the expression's own result in place, without a
  // copy; the reference stays valid until that expression is evaluated again or dropped.
  const TVXParsDouble& GetResultRef(int index);
  TVXParsDouble EvaluateCurrent();
  // Runs a linear list from first and copies the last node's result: its kind, then the
  // vector, the string, or (for every other kind) the number.
  TVXParsDouble EvaluateList(TVXParsExpressionRec* first);
  void EvaluateList(TVXParsExpressionRec* first, TVXParsDouble& result);

  // True when the word of the current expression's last node is of the boolean kind.
  bool isBoolean() const;
  // Evaluates index as a condition: false exactly when the value lies strictly between -0.1
  // and 0.1. Throws "expression is not boolean" when isBoolean is false.
  bool GetAsBoolean(int index);

  std::string GetExpression(int index) const;
  int GetExpressionCount() const { return static_cast<int>(expressions_.size()); }
  // The number of nodes that one evaluation of the expression runs.
  int GetExprSize(int index) const;
  TVXParsJumpType GetJumpType(int index) const;
  const TVXParsExpression& GetCompiled(int index) const;
  int CurrentIndex() const { return currentIndex_; }

  // Drops every compiled expression; words and variables stay.
  void ClearExpressions();
  // Drops expressions, variables and all other words, then registers the language anew.
  void Reset();

  // Names (and words) of the variables: defined, generated and string variables, in list order.
  void GetVars(std::vector<std::string>& names,
               std::vector<TVXParsExprWord*>* words = nullptr) const;
  // Only the variables that formulas created by assigning to a new name.
  void GetGeneratedVars(std::vector<std::string>& names,
                        std::vector<TVXParsExprWord*>* words = nullptr) const;
  // The current expression's last result as display text, or as "$" and hexadecimal digits.
  std::string GetAsString() const;
  std::string GetAsHexadecimal() const;

  // The compiled linear list of an expression, one node per line: the disassembler.
  std::string Disassemble(int index) const;

  // --- the word list ---

  void DefineFunction(const std::string& name, TVXParsProc proc, int nFunctionArg,
                      const std::string& syntax);
  void DefineVariable(const std::string& name, TVXParsDouble* value,
                      const std::string& description, const std::string& helpFile);
  void DefineStringVariable(const std::string& name, std::string* text);
  void DefineConstant(const std::string& name, double value, const std::string& description,
                      const std::string& helpFile);
  // Removes and destroys the word of that name, if any, then adds word (when not null).
  void ReplaceFunction(const std::string& name, std::unique_ptr<TVXParsExprWord> word);
  // Adds word with the list's Add: a name already present keeps its first word, and the new
  // one is destroyed. Returns the word that holds the name afterwards.
  TVXParsExprWord* AddWord(std::unique_ptr<TVXParsExprWord> word);

  void GetFunctionList(std::vector<std::string>& lines,
                       std::vector<TVXParsExprWord*>* words = nullptr) const;
  void GetOperatorList(std::vector<std::string>& names,
                       std::vector<TVXParsExprWord*>* words = nullptr) const;
  std::string GetHelpTopicID(const std::string& name) const;

  TVXParsExpressList& Words() { return words_; }
  const TVXParsExpressList& Words() const { return words_; }

  // --- settings ---

  char DecimalSeparator() const { return decimalSeparator_; }
  char ListSeparator() const { return listSeparator_; }
  static constexpr char HexPrefix() { return '$'; }
  // The thousands separator of number pictures: "," beside a decimal point, "." beside a comma.
  char ThousandSeparator() const { return decimalSeparator_ == ',' ? '.' : ','; }
  TVXFormatSettings FormatSettings;
  // Constant folding during compilation (on by default).
  bool ConstantFolding = true;
  // The fast path of arithmetic expressions (on by default); results are the same without it.
  bool UseKernels = true;
  // The directory that relative file names of formulas resolve against.
  std::string BaseDirectory = ".";

  // --- what function bodies reach while they run ---

  // Events queued by formulas during a run; the owner fires and clears them.
  std::vector<std::unique_ptr<TDeferredEvent>> DeferredEvents;
  // The time stored by tic, in 100-ns units since 1601-01-01.
  std::int64_t TicTime = 0;

  // The stop event: a stop request ends waits at once and stops the section runner between
  // expressions. Safe to call from any thread.
  void RequestStop();
  void ClearStop();
  bool StopRequested() const { return stop_.load(std::memory_order_relaxed); }
  // Waits until a stop is requested or milliseconds have passed; true when stopped.
  bool WaitForStop(std::int64_t milliseconds);

 protected:
  // The compiler stages, in the order CompileExpression runs them.
  void ParseString(const std::string& text, TVXParsExprCollection& tokens);
  void Check(TVXParsExprCollection& tokens);
  TVXParsExpressionRec* MakeTree(const TVXParsExprCollection& tokens);
  bool CheckArguments(const TVXParsExpressionRec* rec) const;
  TVXParsExpressionRec* RemoveConstants(TVXParsExpressionRec* rec);
  TVXParsDouble* MakeLinkedList(TVXParsExpressionRec* rec);

  // Registration helpers of FillExpressList.
  void RegisterStructuralWords();

 private:
  friend class TVXTreeBuilder;

  void CompileExpression(TVXParsExpression& expression);
  // Makes expression the last of the list and the current one; returns its index.
  int Append(std::unique_ptr<TVXParsExpression> expression);
  // Evaluates a compiled expression into result: the fast path when it applies, else the list.
  const TVXParsDouble& Run(TVXParsExpression& expression);
  TVXParsExpressionRec* MakeRec(TVXParsExprWord* word);
  void CheckWrittenArguments(const TVXParsExpressionRec* node) const;
  // Evaluates a constant subtree once and returns its result (folding).
  TVXParsDouble EvaluateDisposeTree(TVXParsExpressionRec* rec, bool& isBooleanResult);
  // Raises message filled with the expression's text and the details.
  [[noreturn]] void Fail(const char* message, std::string_view detail = {},
                         std::string_view detail2 = {}) const;

  char decimalSeparator_;
  char listSeparator_;
  TVXParsExpressList words_{30};
  std::vector<std::unique_ptr<TVXParsExpression>> expressions_;
  int currentIndex_ = -1;
  TVXParsExpression* current_ = nullptr;

  // State of the expression being compiled.
  TVXParsExpression* compiling_ = nullptr;
  std::string expressionText_;
  TVXParsExpressionRec* listHead_ = nullptr;
  TVXParsExpressionRec* listTail_ = nullptr;
  TVXParsJumpType jumpType_ = jtNone;

  TVXParsDouble emptyResult_ = EmptyResult();  // what an expression without compiled form yields
  std::atomic<bool> stop_{false};
  std::mutex stopMutex_;  // guards the wait on stopSignal_
  std::condition_variable stopSignal_;
};

// Copies a node's result the way an evaluation hands it out: the kind, then the vector, the
// string, the matrix or (for every other kind) the number; storage of result is reused.
void CopyResult(const TVXParsDouble& from, TVXParsDouble& result);

// The pairing of jump commands: for each expression index, where execution continues when
// that expression's result carries the jump flag (-1 for expressions that never jump).
using TVXJumpTable = std::vector<int>;

// Pairs If/Else/EndIF, While/Wend and Repeat/Until over expressions first .. end-1 of the
// evaluator (the whole list by default). Throws "Invalid loop command" for a wrong partner and
// "Loops or jumps are not matched" for a command left without one.
TVXJumpTable PairJumps(const TVXExpressionEvaluatorBase& evaluator, int first = 0, int end = -1);

// What a section run reports: whether it ran to its end, and where and why it stopped.
struct TVXSectionOutcome {
  bool Completed = true;
  bool Aborted = false;       // a stop request ended it between two expressions
  int FailedIndex = -1;       // the expression that raised, or -1
  std::string ErrorMessage;   // that expression's error message
};

// Hooks of the section runner; each may be left empty.
struct TVXSectionHooks {
  // Asked before each expression; returning false ends the section as aborted.
  bool (*BeforeExpression)(void* context, int index) = nullptr;
  // Told after each expression with its result.
  void (*AfterExpression)(void* context, int index, const TVXParsDouble& result) = nullptr;
  // While it reads true, no jump is taken (the host is stopping).
  const std::atomic<bool>* StopRecursion = nullptr;
  void* Context = nullptr;
};

// Runs expressions first .. end-1 as one section, following jumps: the result's number and
// jump flag are cleared first, each expression's result then overwrites it. An exception ends
// the section and is reported in the outcome; a stop request is honoured between expressions.
TVXSectionOutcome RunSection(TVXExpressionEvaluatorBase& evaluator, const TVXJumpTable& jumps,
                             int first, int end, TVXParsDouble& result,
                             const TVXSectionHooks& hooks = {});

}  // namespace loom
