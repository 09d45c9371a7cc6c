// The evaluator: its expression list, the word list operations and the stop event.
#include "engine/Evaluator.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <new>
#include <stdexcept>

#include "engine/Messages.h"

namespace loom {

namespace {

// Runs work and turns the run-time's resource errors into the engine's exception, so that
// callers see one exception class whatever a formula does.
template <typename Work>
auto Guarded(Work&& work) -> decltype(work()) {
  try {
    return work();
  } catch (const EVXParserException&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw EVXParserException(rsOutOfMemory);
  } catch (const std::length_error&) {
    throw EVXParserException(rsOutOfMemory);
  }
}

}  // namespace

TVXExpressionEvaluatorBase::TVXExpressionEvaluatorBase(char decimalSeparator)
    : decimalSeparator_(decimalSeparator), listSeparator_(decimalSeparator == ',' ? ';' : ',') {}

TVXExpressionEvaluatorBase::~TVXExpressionEvaluatorBase() = default;

void TVXCompileState::Fail(const char* message, std::string_view detail,
                           std::string_view detail2) const {
  throw EVXParserException(FormatMessage(message, {Text, detail, detail2}));
}

int TVXExpressionEvaluatorBase::AddExpression(const std::string& text) {
  if (text.empty()) {
    currentIndex_ = -1;
    return -1;
  }
  auto expression = std::make_unique<TVXParsExpression>();
  expression->Text = text;
  Guarded([&] { CompileExpression(*expression); });
  return Append(std::move(expression));
}

int TVXExpressionEvaluatorBase::AddEmptyExpression(const std::string& text) {
  auto expression = std::make_unique<TVXParsExpression>();
  expression->Text = text;
  return Append(std::move(expression));
}

int TVXExpressionEvaluatorBase::Append(std::unique_ptr<TVXParsExpression> expression) {
  TVXKernelProgram* const program = expression->Program.get();
  fast_.push_back({program ? program : &TVXKernelProgram::None(), expression.get()});
  try {
    expressions_.push_back(std::move(expression));
  } catch (...) {
    fast_.pop_back();
    throw;
  }
  if (useKernels_) fastCount_ = fast_.size();
  currentIndex_ = GetExpressionCount() - 1;
  return currentIndex_;
}

void TVXExpressionEvaluatorBase::CompileExpression(TVXParsExpression& expression) {
  if (expression.Text.size() > kMaxFormulaLength) {
    // The message quotes only the beginning of a text this long.
    throw EVXParserException(FormatMessage(rsFormulaTooLong, {expression.Text.substr(0, 80) + "...",
                                                              std::to_string(kMaxFormulaLength)}));
  }
  TVXCompileState state(expression, expression.Text);
  TVXParsExprCollection tokens;
  ParseString(state, tokens);
  Check(state, tokens);
  if (tokens.Count() == 0) return;  // stored without a compiled form

  TVXParsExpressionRec* root = MakeTree(state, tokens);
  if (!CheckArguments(root)) state.Fail(rsTooFewArguments);
  if (ConstantFolding) root = RemoveConstants(state, root);
  if (!root || !root->Word) return;

  if (root->Word->GetIsVariable()) {
    // A lone constant or variable: the root record itself copies the value out.
    expression.Head = expression.Last = root;
  } else {
    MakeLinkedList(state, root);
    expression.Head = state.ListHead;
    expression.Last = state.ListTail;
  }
  expression.JumpType = state.JumpType;
  if (state.JumpNode != expression.Last) expression.JumpNode = state.JumpNode;
  for (TVXParsExpressionRec* node = expression.Head; node; node = node->Next) ++expression.Size;
  // The numbers-only path of GetResults knows no jump flag: a line with a jump command runs its
  // list there, and its jump program only inside a stretch.
  if (state.JumpType == jtNone && (expression.Head != root || !root->Word->GetIsVariable()))
    expression.Program = TVXKernelProgram::Build(expression.Head, expression.Last);
  else if (state.JumpType != jtNone && !expression.JumpNode)
    expression.JumpProgram =
        TVXKernelProgram::BuildJump(expression.Head, expression.Last, state.JumpType);
}

TVXParsDouble TVXExpressionEvaluatorBase::Evaluate(const std::string& text) {
  if (text.empty()) return EmptyResult();
  AddExpression(text);
  return EvaluateCurrent();
}

TVXParsDouble TVXExpressionEvaluatorBase::EvaluateCurrent() {
  TVXParsExpression* const current = Current();
  if (!current) return EmptyResult();
  TVXParsDouble result;
  CopyResult(Guarded([&]() -> const TVXParsDouble& { return Run(*current); }), result);
  return result;
}

TVXParsDouble TVXExpressionEvaluatorBase::GetResults(int index) {
  TVXParsDouble result;
  GetResults(index, result);
  return result;
}

void TVXExpressionEvaluatorBase::GetResultsListed(int index, TVXParsDouble& result) {
  CopyResult(GetResultRefListed(index), result);
}

// Kept out of line so that the inline fast paths of GetResults and GetResultRef stay small.
[[gnu::noinline]] const TVXParsDouble& TVXExpressionEvaluatorBase::GetResultRefListed(int index) {
  if (index < 0 || index >= GetExpressionCount()) return emptyResult_;
  currentIndex_ = index;
  TVXParsExpression& current = *expressions_[static_cast<std::size_t>(index)];
  // Only an expression with a program got here after its numbers-only run was refused.
  const bool numbersTried = useKernels_ && current.Program;
  return Guarded([&]() -> const TVXParsDouble& { return Run(current, numbersTried); });
}

const TVXParsDouble& TVXExpressionEvaluatorBase::Run(TVXParsExpression& expression,
                                                     bool numbersTried) {
  if (!expression.Head) return emptyResult_;
  if (useKernels_ && expression.Program &&
      ((!numbersTried && expression.Program->RunNumbers()) || expression.Program->RunVectors()))
    return expression.Last->Result;
  if (!expression.JumpNode) return RunList(expression.Head);
  // A jump command inside a larger expression: the line jumps exactly when the command does.
  RunList(expression.Head);
  expression.Last->Result.JumpFlag = expression.JumpNode->Result.JumpFlag;
  return expression.Last->Result;
}

bool TVXExpressionEvaluatorBase::isBoolean() const {
  const TVXParsExpression* const current = Current();
  return current && current->Last && current->Last->Word &&
         current->Last->Word->GeTVXPArsVarType() == vtBoolean;
}

bool TVXExpressionEvaluatorBase::GetAsBoolean(int index) {
  const TVXParsDouble value = GetResults(index);
  if (!isBoolean()) throw EVXParserException(FormatMessage(rsNotBoolean, {GetExpression(index)}));
  // A deliberate tolerance band: only values strictly inside (-0.1, 0.1) are false.
  return !(value.Value > -0.1 && value.Value < 0.1);
}

std::string TVXExpressionEvaluatorBase::GetExpression(int index) const {
  if (index < 0 || index >= GetExpressionCount()) return {};
  return expressions_[static_cast<std::size_t>(index)]->Text;
}

int TVXExpressionEvaluatorBase::GetExprSize(int index) const {
  if (index < 0 || index >= GetExpressionCount()) return 0;
  return expressions_[static_cast<std::size_t>(index)]->Size;
}

TVXParsJumpType TVXExpressionEvaluatorBase::GetJumpType(int index) const {
  if (index < 0 || index >= GetExpressionCount()) return jtNone;
  return expressions_[static_cast<std::size_t>(index)]->JumpType;
}

const TVXParsExpression& TVXExpressionEvaluatorBase::GetCompiled(int index) const {
  return *expressions_.at(static_cast<std::size_t>(index));
}

TVXKernelStretch* TVXExpressionEvaluatorBase::BuildStretch(int index, int end) {
  try {
    if (stretches_.size() < expressions_.size()) stretches_.resize(expressions_.size());
    std::vector<TVXKernelProgram*> lines;
    for (int i = index; i < std::min(end, GetExpressionCount()); ++i) {
      TVXKernelProgram* program = fast_[static_cast<std::size_t>(i)].Line();
      if (!program) break;
      lines.push_back(program);
    }
    StretchSlot& slot = stretches_[static_cast<std::size_t>(index)];
    slot.End = 0;  // until the new stretch is in place
    slot.Stretch = std::make_unique<TVXKernelStretch>(index, std::move(lines));
    slot.End = end;
    return slot.Stretch.get();
  } catch (const std::bad_alloc&) {
    return nullptr;  // the lines run one by one, as without stretches
  }
}

void TVXExpressionEvaluatorBase::ClearExpressions() {
  stretches_.clear();
  fast_.clear();
  fastCount_ = 0;
  expressions_.clear();
  currentIndex_ = -1;
  retiredWords_.clear();  // no compiled list reads them any more
}

void TVXExpressionEvaluatorBase::Reset() {
  ClearExpressions();
  words_.FreeAll();
  DeferredEvents.clear();
  TicTime = 0;
  ClearStop();
  FillExpressList();
}

std::string TVXExpressionEvaluatorBase::GetAsString() const {
  const TVXParsExpression* const current = Current();
  if (!current || !current->Last) return ParsDoubleAsString(EmptyResult(), decimalSeparator_);
  return ParsDoubleAsString(current->Last->Result, decimalSeparator_);
}

std::string TVXExpressionEvaluatorBase::GetAsHexadecimal() const {
  const TVXParsExpression* const current = Current();
  const TVXParsDouble value = current && current->Last ? current->Last->Result : EmptyResult();
  if (value.VarType != vtDouble && value.VarType != vtBoolean) return rsInvalidDatatype;
  const double rounded = std::nearbyint(value.Value);
  if (!(rounded >= -9223372036854775808.0 && rounded < 9223372036854775808.0))
    return rsInvalidFloatingPoint;
  char buffer[24];
  std::snprintf(buffer, sizeof buffer, "$%08" PRIX64,
                static_cast<std::uint64_t>(static_cast<std::int64_t>(rounded)));
  return buffer;
}

TVXParsExprWord* TVXExpressionEvaluatorBase::AddWord(std::unique_ptr<TVXParsExprWord> word) {
  const int before = words_.Count();
  const int index = words_.Add(word.get());
  if (words_.Count() > before) return word.release();
  return words_.Word(index);  // the first registration of a name wins; word is destroyed
}

void TVXExpressionEvaluatorBase::DefineFunction(const std::string& name, TVXParsProc proc,
                                                int nFunctionArg, const std::string& syntax) {
  AddWord(
      std::make_unique<TVXParsFunction>(name, proc, nFunctionArg, syntax, vxtBasic, "", "", ""));
}

void TVXExpressionEvaluatorBase::DefineVariable(const std::string& name, TVXParsDouble* value,
                                                const std::string& description,
                                                const std::string& helpFile) {
  AddWord(std::make_unique<TVXParsDoubleVariable>(name, value, description, helpFile));
}

void TVXExpressionEvaluatorBase::DefineStringVariable(const std::string& name, std::string* text) {
  AddWord(std::make_unique<TVXParsStringVariable>(name, text));
}

void TVXExpressionEvaluatorBase::DefineConstant(const std::string& name, double value,
                                                const std::string& description,
                                                const std::string& helpFile) {
  AddWord(std::make_unique<TVXParsDoubleConstant>(name, value, description, helpFile));
}

void TVXExpressionEvaluatorBase::ReplaceFunction(const std::string& name,
                                                 std::unique_ptr<TVXParsExprWord> word) {
  int index;
  if (words_.Search(name.c_str(), index)) {
    // Compiled lists point at the word and at its value: it retires instead of dying.
    retiredWords_.emplace_back(words_.Word(index));
    words_.AtDelete(index);
  }
  if (word) AddWord(std::move(word));
}

void TVXExpressionEvaluatorBase::RequestStop() {
  {
    std::lock_guard<std::mutex> lock(stopMutex_);
    stop_.store(true);
  }
  stopSignal_.notify_all();
}

void TVXExpressionEvaluatorBase::ClearStop() {
  std::lock_guard<std::mutex> lock(stopMutex_);
  stop_.store(false);
}

bool TVXExpressionEvaluatorBase::WaitForStop(std::int64_t milliseconds) {
  std::unique_lock<std::mutex> lock(stopMutex_);
  if (milliseconds <= 0) return stop_.load();
  return stopSignal_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                              [this] { return stop_.load(); });
}

}  // namespace loom
