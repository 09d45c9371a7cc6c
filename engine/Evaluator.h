// The formula compiler and evaluator.
//
// TVXExpressionEvaluatorBase holds a word list, compiles formula texts into linear lists of
// expression records (ParseString, Check, MakeTree, CheckArguments, RemoveConstants,
// MakeLinkedList, one stage per source file) and evaluates them on demand. The words of the
// language itself are registered by a derived class (TVXExpressionEvaluator in functions/), so
// that the engine does not depend on the function library.
//
// Threads. An evaluator belongs to one thread at a time: the thread that compiles and evaluates
// with it (a panel's main thread, or its evaluation thread while that runs a cycle). Ownership
// may move between threads only with a hand-over that orders memory (a lock or a join). Another
// thread may call RequestStop and StopRequested, and nothing else. The settings (FormatSettings,
// ConstantFolding, kernels, BaseDirectory, Host) and the word list change only while no
// evaluation runs; a body that blocks (Wait) waits on the stop event, so RequestStop ends it.
#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/Kernel.h"
#include "engine/ParserClasses.h"
#include "engine/WordLists.h"

namespace loom {

class TFormulaHost;  // what function bodies may ask of the world outside (functions/)

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
  // The jump command's node when it is not the last one (y := While(c)): its jump flag is
  // handed to the expression's result after every run. Null otherwise.
  TVXParsExpressionRec* JumpNode = nullptr;
  int Size = 0;  // nodes run per evaluation
  // Every record and constant made while compiling; the linear list points into them.
  std::vector<std::unique_ptr<TVXParsExpressionRec>> Records;
  std::vector<std::unique_ptr<TVXParsExprWord>> Constants;
  // The fast path of an arithmetic expression; null for every other expression.
  std::unique_ptr<TVXKernelProgram> Program;
  // The fast path of a jump command line (alone, or with an arithmetic condition), which runs
  // only inside a stretch of a section; null for every other expression.
  std::unique_ptr<TVXKernelProgram> JumpProgram;
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

// The state of one compilation, passed through the compiler stages: the expression being built
// (which receives every record and constant made) and the linear list under construction.
struct TVXCompileState {
  TVXCompileState(TVXParsExpression& expression, const std::string& text)
      : Expression(expression), Text(text) {}
  TVXParsExpression& Expression;
  const std::string& Text;  // the text quoted by compile messages
  TVXParsExpressionRec* ListHead = nullptr;
  TVXParsExpressionRec* ListTail = nullptr;
  TVXParsJumpType JumpType = jtNone;
  TVXParsExpressionRec* JumpNode = nullptr;  // the one jump command linked, if any

  // Raises message filled with the expression's text and the details.
  [[noreturn]] void Fail(const char* message, std::string_view detail = {},
                         std::string_view detail2 = {}) const;
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
  void GetResults(int index, TVXParsDouble& result) {
    // The commonest evaluation, arithmetic on numbers, inline: it cannot allocate.
    const auto slot = static_cast<std::size_t>(index);  // a negative index is out of range
    if (slot < fastCount_) {
      const TFastEntry& entry = fast_[slot];
      double number;
      if (entry.Program->RunNumbers(number)) {
        currentIndex_ = index;
        result.VarType = vtDouble;
        result.JumpFlag = false;
        result.Value = number;
        return;
      }
    }
    GetResultsListed(index, result);
  }
  // Evaluates like GetResults but hands out the expression's own result in place, without a
  // copy; the reference stays valid until that expression is evaluated again or dropped.
  // Arithmetic on numbers is tried here, inline, because a section runs it once per line.
  const TVXParsDouble& GetResultRef(int index) {
    const auto slot = static_cast<std::size_t>(index);
    if (slot < fastCount_) {
      const TFastEntry& entry = fast_[slot];
      if (entry.Program->RunNumbers()) {
        currentIndex_ = index;
        return entry.Program->Result();
      }
    }
    return GetResultRefListed(index);
  }
  // Whether a stretch may start at index: the lines index and index + 1 (both before end)
  // have programs that a stretch runs. Inline, as the section runner asks it for every line.
  bool StretchStartsAt(int index, int end) const {
    if (index < 0 || index + 1 >= std::min(end, static_cast<int>(fastCount_))) return false;
    const auto slot = static_cast<std::size_t>(index);
    return fast_[slot].Line() && fast_[slot + 1].Line();
  }
  // Runs the lines from index on (up to end, exclusive; StretchStartsAt holds) that have
  // programs, arithmetic lines and jump commands, as one stretch when every value they read is
  // a number, and returns the result of the last line run; null when a value is not a number
  // (nothing ran). jumps[i] (for i < jumpCount) is where the jump command of line i leads; the
  // stretch follows jumps forward within it (none when jumps is null) and ends at any other
  // jump, which is the caller's to take. While it runs, running is the line being run and
  // previous the one run before it in the stretch (-1 for none); afterwards running is the last
  // line run, which becomes current. The stretch is built on first use; inline, as the section
  // runner calls it for every stretch it runs.
  const TVXParsDouble* RunStretch(int index, int end, const int* jumps, int jumpCount, int& running,
                                  int& previous) {
    const auto slot = static_cast<std::size_t>(index);
    TVXKernelStretch* stretch = slot < stretches_.size() && stretches_[slot].End == end
                                    ? stretches_[slot].Stretch.get()
                                    : BuildStretch(index, end);
    if (!stretch) return nullptr;
    const TVXParsDouble* last = stretch->Run(jumps, jumpCount, running, previous);
    if (last) currentIndex_ = running;
    return last;
  }
  // The result of the expression at index as its last evaluation left it.
  const TVXParsDouble& LastResult(int index) const {
    const TVXParsExpression& expression = *expressions_.at(static_cast<std::size_t>(index));
    return expression.Last ? expression.Last->Result : emptyResult_;
  }
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
  void DefineVariable(const std::string& name, TVXParsDouble* value, const std::string& description,
                      const std::string& helpFile);
  void DefineStringVariable(const std::string& name, std::string* text);
  void DefineConstant(const std::string& name, double value, const std::string& description,
                      const std::string& helpFile);
  // Removes the word of that name, if any, then adds word (when not null). Expressions compiled
  // before keep reading the removed word, which lives until the expressions are cleared.
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
  bool UseKernels() const { return useKernels_; }
  void SetUseKernels(bool use) {
    useKernels_ = use;
    fastCount_ = use ? fast_.size() : 0;
  }
  // The directory that relative file names of formulas resolve against.
  std::string BaseDirectory = ".";

  // --- what function bodies reach while they run ---

  // The host that function bodies ask for what lies outside the formula (clock, panel, serial
  // port, engine bridge). Not owned; the evaluator itself never calls it. Null: the bodies'
  // do-nothing host.
  TFormulaHost* Host = nullptr;

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
  void ParseString(TVXCompileState& state, TVXParsExprCollection& tokens);
  void Check(TVXCompileState& state, TVXParsExprCollection& tokens);
  TVXParsExpressionRec* MakeTree(TVXCompileState& state, const TVXParsExprCollection& tokens);
  bool CheckArguments(const TVXParsExpressionRec* rec) const;
  TVXParsExpressionRec* RemoveConstants(TVXCompileState& state, TVXParsExpressionRec* rec);
  TVXParsDouble* MakeLinkedList(TVXCompileState& state, TVXParsExpressionRec* rec);

 private:
  friend class TVXTreeBuilder;

  void CompileExpression(TVXParsExpression& expression);
  // Makes expression the last of the list and the current one; returns its index.
  int Append(std::unique_ptr<TVXParsExpression> expression);
  // Evaluates a compiled expression into result: the fast path when it applies, else the list.
  // numbersTried: the caller already found that the numbers-only run does not apply.
  const TVXParsDouble& Run(TVXParsExpression& expression, bool numbersTried = false);
  // GetResultRef and GetResults for everything but arithmetic on numbers.
  const TVXParsDouble& GetResultRefListed(int index);
  void GetResultsListed(int index, TVXParsDouble& result);
  TVXParsExpressionRec* MakeRec(TVXCompileState& state, TVXParsExprWord* word);
  void CheckWrittenArguments(const TVXCompileState& state, const TVXParsExpressionRec* node) const;
  // Evaluates a constant subtree once and returns its result (folding).
  TVXParsDouble EvaluateDisposeTree(TVXCompileState& state, TVXParsExpressionRec* rec,
                                    bool& isBooleanResult);

  char decimalSeparator_;
  char listSeparator_;
  TVXParsExpressList words_{30};
  std::vector<std::unique_ptr<TVXParsExpression>> expressions_;
  // Per expression, what the inline fast paths read: its program (TVXKernelProgram::None()
  // without one) and the expression.
  struct TFastEntry {
    TVXKernelProgram* Program;
    TVXParsExpression* Expression;
    // The program that a stretch runs for the line, or null.
    TVXKernelProgram* Line() const {
      return Expression->Program ? Expression->Program.get() : Expression->JumpProgram.get();
    }
  };
  std::vector<TFastEntry> fast_;
  // The entries of fast_ that the inline paths use: all of them, none without kernels. One
  // comparison decides both.
  std::size_t fastCount_ = 0;
  bool useKernels_ = true;
  // The expression evaluated last (or compiled last, when none was evaluated after it); -1 for
  // none.
  int currentIndex_ = -1;
  TVXParsExpression* Current() const {
    return currentIndex_ >= 0 ? expressions_[static_cast<std::size_t>(currentIndex_)].get()
                              : nullptr;
  }
  // Per expression index, the stretch of lines with programs that starts there, made on first
  // use for the section end End (0 until then: a stretch ends after its second line).
  struct StretchSlot {
    int End = 0;
    std::unique_ptr<TVXKernelStretch> Stretch;
  };
  // Makes the stretch from index up to end; null when memory ran out, and the lines run one by
  // one then.
  TVXKernelStretch* BuildStretch(int index, int end);
  std::vector<StretchSlot> stretches_;
  // Words taken out by ReplaceFunction while compiled expressions may still read them.
  std::vector<std::unique_ptr<TVXParsExprWord>> retiredWords_;

  TVXParsDouble emptyResult_ = EmptyResult();  // what an expression without compiled form yields
  std::atomic<bool> stop_{false};
  std::mutex stopMutex_;  // guards the wait on stopSignal_
  std::condition_variable stopSignal_;
};

// Copies a node's result the way an evaluation hands it out: the value (CopyParsDouble) and the
// jump flag; storage of result is reused. A number, the commonest result, is copied inline.
inline void CopyResult(const TVXParsDouble& from, TVXParsDouble& result) {
  if (from.VarType == vtDouble) {
    result.VarType = vtDouble;
    result.Value = from.Value;
  } else {
    CopyParsDouble(from, result);
  }
  result.JumpFlag = from.JumpFlag;
}

// Runs a linear list from first to its end and returns the last node's result in place.
const TVXParsDouble& RunList(TVXParsExpressionRec* first);

}  // namespace loom
