// MakeTree and CheckArguments: a checked token list becomes a tree of expression records.
//
// Operators group by precedence (a smaller number binds tighter); a chain of equal precedence
// groups from the left, so a-b-c is (a-b)-c. The right operand of an operator is everything up
// to the next operator whose precedence number is equal to or greater than its own, which is
// what a precedence-climbing parser computes.
#include <climits>

#include "engine/Evaluator.h"
#include "engine/Messages.h"

namespace loom {

class TVXTreeBuilder {
 public:
  TVXTreeBuilder(TVXExpressionEvaluatorBase& evaluator, TVXCompileState& state,
                 const TVXParsExprCollection& tokens)
      : ev_(evaluator), state_(state), tokens_(tokens) {}

  TVXParsExpressionRec* Build() {
    TVXParsExpressionRec* root = ParseExpression(INT_MAX, nullptr);
    if (pos_ < tokens_.Count()) state_.Fail(rsSyntaxError, Peek()->Name);
    return root;
  }

 private:
  TVXParsExprWord* Peek() const { return pos_ < tokens_.Count() ? tokens_.Word(pos_) : nullptr; }

  static bool IsTerminator(const TVXParsExprWord* word) {
    const TVXPArsVarType kind = word->GeTVXPArsVarType();
    return kind == vtRightBracket || kind == vtVectorRightBracket || kind == vtComma;
  }

  static int PrecedenceOf(const TVXParsExprWord* word) {
    return static_cast<const TVXParsFunction*>(word)->Precedence;
  }

  // Guards the recursion of brackets, calls and prefix operators against stack exhaustion.
  struct DepthGuard {
    explicit DepthGuard(TVXTreeBuilder& builder) : b(builder) {
      if (++b.depth_ > kMaxNestingDepth)
        b.state_.Fail(rsNestedTooDeeply, std::to_string(kMaxNestingDepth));
    }
    ~DepthGuard() { --b.depth_; }
    TVXTreeBuilder& b;
  };

  // Parses operands joined by operators that bind tighter than limit. owner is the operator
  // or function that needs this operand (named when the operand is missing).
  TVXParsExpressionRec* ParseExpression(int limit, const TVXParsExprWord* owner) {
    DepthGuard guard(*this);
    TVXParsExpressionRec* left = ParseOperand(owner);
    int height = 1;
    while (TVXParsExprWord* word = Peek()) {
      if (IsTerminator(word)) break;
      if (!word->GetIsOper()) state_.Fail(rsSyntaxError, word->Name);
      const int precedence = PrecedenceOf(word);
      if (precedence >= limit) break;
      ++pos_;
      // Chains of operators deepen the tree without deepening this loop; the later tree walks
      // recurse over that depth, so it is bounded as well.
      if (++height > kMaxChainLength) state_.Fail(rsChainTooLong, std::to_string(kMaxChainLength));
      TVXParsExpressionRec* node = ev_.MakeRec(state_, word);
      node->ArgRecs.push_back(left);
      if (word->GetNFunctionArg() >= 2) {
        node->ArgRecs.push_back(ParseExpression(precedence, word));
        CheckAssignable(word, left);
      }
      left = node;
    }
    return left;
  }

  TVXParsExpressionRec* ParseOperand(const TVXParsExprWord* owner) {
    TVXParsExprWord* word = Peek();
    if (!word || IsTerminator(word)) {
      if (owner) state_.Fail(rsCannotFindOperand, owner->Name);
      if (!word) return nullptr;
      state_.Fail(rsSyntaxError, word->Name);
    }
    if (word->GetIsOper()) {
      // A one-argument operator where an operand is expected applies to what follows.
      if (word->GetNFunctionArg() != 1) state_.Fail(rsCannotFindOperand, word->Name);
      ++pos_;
      TVXParsExpressionRec* node = ev_.MakeRec(state_, word);
      node->ArgRecs.push_back(ParseExpression(PrecedenceOf(word), word));
      return node;
    }
    switch (word->GeTVXPArsVarType()) {
      case vtLeftBracket: {
        ++pos_;
        TVXParsExpressionRec* inner = ParseExpression(INT_MAX, owner);
        Expect(vtRightBracket);
        return inner;
      }
      case vtVectorLeftBracket: {
        ++pos_;
        TVXParsExpressionRec* node = ev_.MakeRec(state_, word);
        ParseArguments(node, vtVectorRightBracket);
        return node;
      }
      default:
        break;
    }
    ++pos_;
    TVXParsExpressionRec* node = ev_.MakeRec(state_, word);
    if (dynamic_cast<TVXParsFunction*>(word) && Peek() &&
        Peek()->GeTVXPArsVarType() == vtLeftBracket) {
      ++pos_;
      ParseArguments(node, vtRightBracket);
      ev_.CheckWrittenArguments(state_, node);
    }
    return node;
  }

  // Reads separator-delimited arguments up to the closing bracket. An empty argument becomes
  // an empty record, which the argument check reports as missing.
  void ParseArguments(TVXParsExpressionRec* node, TVXPArsVarType closer) {
    DepthGuard guard(*this);
    TVXParsExprWord* const function = node->Word;
    if (Peek() && Peek()->GeTVXPArsVarType() == closer) {
      ++pos_;
      return;
    }
    for (;;) {
      TVXParsExprWord* word = Peek();
      if (word && (word->GeTVXPArsVarType() == vtComma || word->GeTVXPArsVarType() == closer))
        node->ArgRecs.push_back(ev_.MakeRec(state_, nullptr));
      else
        node->ArgRecs.push_back(ParseExpression(INT_MAX, function));
      if (!function->GetDynamicArgs() &&
          static_cast<int>(node->ArgRecs.size()) > function->GetNFunctionArg())
        state_.Fail(rsTooManyArguments, function->Name);
      word = Peek();
      if (!word) throw EVXParserException(rsUnbalancedBrackets);
      if (word->GeTVXPArsVarType() == vtComma) {
        ++pos_;
        continue;
      }
      if (word->GeTVXPArsVarType() == closer) {
        ++pos_;
        return;
      }
      state_.Fail(rsSyntaxError, word->Name);
    }
  }

  void Expect(TVXPArsVarType kind) {
    TVXParsExprWord* word = Peek();
    if (!word) throw EVXParserException(rsUnbalancedBrackets);
    if (word->GeTVXPArsVarType() != kind) state_.Fail(rsSyntaxError, word->Name);
    ++pos_;
  }

  // The target of an assignment must be a variable: writing into a constant would change it
  // for every formula of the evaluator.
  void CheckAssignable(const TVXParsExprWord* oper, const TVXParsExpressionRec* target) {
    if (oper->Name != ":=") return;
    const TVXParsExprWord* word = target ? target->Word : nullptr;
    const bool isVariable = dynamic_cast<const TVXParsGeneratedVariable*>(word) ||
                            dynamic_cast<const TVXParsDoubleVariable*>(word);
    if (!isVariable) state_.Fail(rsNotAssignable, word ? word->Name : std::string());
  }

  TVXExpressionEvaluatorBase& ev_;
  TVXCompileState& state_;
  const TVXParsExprCollection& tokens_;
  int pos_ = 0;
  int depth_ = 0;
};

TVXParsExpressionRec* TVXExpressionEvaluatorBase::MakeRec(TVXCompileState& state,
                                                          TVXParsExprWord* word) {
  auto rec = std::make_unique<TVXParsExpressionRec>();
  rec->Word = word;
  rec->Func = word ? word->Func : nullptr;
  rec->Owner = this;
  if (word && word->AsPointer() && word->GetIsVariable()) rec->ArgData.push_back(word->AsPointer());
  state.Expression.Records.push_back(std::move(rec));
  return state.Expression.Records.back().get();
}

// A function that writes into an argument must not be given a constant there: the write would
// change the constant for every formula (Ramp(pi, 0, 1, 3)) or make a literal grow with every
// evaluation (VectorAppend([1], x)). Checked on the tree as written and again after folding,
// which turns constant arguments such as [1] into constants.
void TVXExpressionEvaluatorBase::CheckWrittenArguments(const TVXCompileState& state,
                                                       const TVXParsExpressionRec* node) const {
  const auto* function = dynamic_cast<const TVXParsFunction*>(node->Word);
  if (!function || function->WrittenArgs == 0) return;
  for (std::size_t i = 0; i < node->ArgRecs.size() && i < 32; ++i) {
    if (!(function->WrittenArgs & (std::uint32_t{1} << i))) continue;
    const TVXParsExprWord* word = node->ArgRecs[i] ? node->ArgRecs[i]->Word : nullptr;
    const bool constant = word && word->GetIsVariable() && !word->GetCanVary();
    if (constant) state.Fail(rsArgumentNotWritable, std::to_string(i + 1), function->Name);
  }
}

TVXParsExpressionRec* TVXExpressionEvaluatorBase::MakeTree(TVXCompileState& state,
                                                           const TVXParsExprCollection& tokens) {
  if (tokens.Count() == 0) return MakeRec(state, nullptr);
  TVXTreeBuilder builder(*this, state, tokens);
  return builder.Build();
}

bool TVXExpressionEvaluatorBase::CheckArguments(const TVXParsExpressionRec* rec) const {
  if (!rec || !rec->Word) return true;
  const int count = rec->Word->GetNFunctionArg();
  if (count <= 0) {
    // A vector bracket checks every argument it holds.
    if (!rec->Word->GetDynamicArgs()) return true;
    for (const TVXParsExpressionRec* arg : rec->ArgRecs)
      if (!arg || !arg->Word || !CheckArguments(arg)) return false;
    return true;
  }
  for (int i = 0; i < count; ++i) {
    if (i >= static_cast<int>(rec->ArgRecs.size())) return false;
    const TVXParsExpressionRec* arg = rec->ArgRecs[static_cast<std::size_t>(i)];
    if (!arg || !arg->Word) return false;
    if (!CheckArguments(arg)) return false;
  }
  return true;
}

}  // namespace loom
