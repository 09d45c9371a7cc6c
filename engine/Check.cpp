// Check: validates a token list and rewrites unary signs, repeated "not" and integer powers.
#include "engine/Evaluator.h"
#include "engine/Messages.h"

namespace loom {

namespace {

TVXPArsVarType KindOf(const TVXParsExprWord* word) {
  return word->GeTVXPArsVarType();
}

bool IsOperatorWithArgs(const TVXParsExprWord* word, int count) {
  return word->GetIsOper() && word->GetNFunctionArg() == count;
}

bool IsSign(const TVXParsExprWord* word) {
  return word->Name == "-" || word->Name == "+";
}

bool IsNot(const TVXParsExprWord* word) {
  return word->GetIsOper() && word->Name.size() == 3 && (word->Name[0] | 0x20) == 'n' &&
         (word->Name[1] | 0x20) == 'o' && (word->Name[2] | 0x20) == 't';
}

// A constant written as a number in the formula (not a named constant such as pi).
bool IsIntegerLiteral(const TVXParsExprWord* word, char decimalSeparator) {
  const auto* constant = dynamic_cast<const TVXParsDoubleConstant*>(word);
  if (!constant || dynamic_cast<const TVXParsGeneratedVariable*>(word)) return false;
  if (constant->Value.VarType != vtDouble || constant->Name.empty()) return false;
  const char first = constant->Name.front();
  if (!(first >= '0' && first <= '9') && first != decimalSeparator) return false;
  return constant->Name.find(decimalSeparator) == std::string::npos;
}

}  // namespace

void TVXExpressionEvaluatorBase::Check(TVXCompileState& state, TVXParsExprCollection& tokens) {
  tokens.Check();
  TVXParsExprWord* const unaryMinus = words_.Find("-@");
  TVXParsExprWord* const unaryPlus = words_.Find("+@");
  TVXParsExprWord* const intPower = words_.Find("^@");

  for (int i = 0; i < tokens.Count(); ++i) {
    TVXParsExprWord* word = tokens.Word(i);
    TVXParsExprWord* const prev = i > 0 ? tokens.Word(i - 1) : nullptr;

    // A sign is unary at the start and after a separator, "(", "[" or a two-argument
    // operator; a run of signs collapses into one unary word with the net sign.
    if (IsSign(word) && unaryMinus && unaryPlus &&
        (!prev || KindOf(prev) == vtComma || KindOf(prev) == vtLeftBracket ||
         KindOf(prev) == vtVectorLeftBracket || IsOperatorWithArgs(prev, 2))) {
      bool negative = false;
      int end = i;
      while (end < tokens.Count() && IsSign(tokens.Word(end))) {
        if (tokens.Word(end)->Name == "-") negative = !negative;
        ++end;
      }
      for (int k = end - 1; k > i; --k) tokens.AtDelete(k);
      tokens.AtPut(i, negative ? unaryMinus : unaryPlus);
      word = tokens.Word(i);
    }

    // Repeated negation after the start, "(" or an operator (deliberately not after a separator
    // or "["): an even run vanishes, an odd run becomes one "not".
    if (IsNot(word) && (!prev || KindOf(prev) == vtLeftBracket || prev->GetIsOper())) {
      int end = i;
      while (end < tokens.Count() && IsNot(tokens.Word(end))) ++end;
      const int run = end - i;
      const int keep = run % 2;
      for (int k = end - 1; k >= i + keep; --k) tokens.AtDelete(k);
      if (keep == 0) {
        --i;  // the token now at i has not been examined
        continue;
      }
    }

    TVXParsExprWord* const next = i + 1 < tokens.Count() ? tokens.Word(i + 1) : nullptr;
    if (word->GetIsVariable() && next && next->GetIsVariable())
      state.Fail(rsTwoSuccessive, word->Name);
    if (dynamic_cast<TVXParsGeneratedVariable*>(word) && next && KindOf(next) == vtLeftBracket)
      state.Fail(rsUnknownFunction, word->Name);
    if (KindOf(word) == vtLeftBracket && (!next || KindOf(next) == vtRightBracket))
      state.Fail(rsEmptyBrackets);
    if (KindOf(word) == vtRightBracket && next && KindOf(next) == vtLeftBracket)
      state.Fail(rsMissingBetweenBrackets);
    if (KindOf(word) == vtRightBracket && next && next->GetIsVariable())
      state.Fail(rsMissingAfterBracket);
    if (KindOf(word) == vtLeftBracket && prev && prev->GetIsVariable())
      state.Fail(rsMissingBeforeBracket);
    // x^2 computes with an integer power, x^2.0 with the general one.
    if (word->Name == "^" && word->GetIsOper() && intPower && next &&
        IsIntegerLiteral(next, decimalSeparator_))
      tokens.AtPut(i, intPower);
  }
}

}  // namespace loom
