// RemoveConstants: every subtree whose result cannot change between evaluations is computed
// once at compile time and replaced by a constant.
#include <algorithm>

#include "engine/Evaluator.h"

namespace loom {

namespace {

// The arguments that decide a node's variability: all of them for a vector bracket, else the
// first NFunctionArg.
std::size_t DecidingArgs(const TVXParsExpressionRec* rec) {
  if (rec->Word->GetDynamicArgs()) return rec->ArgRecs.size();
  const int count = rec->Word->GetNFunctionArg();
  return std::min(rec->ArgRecs.size(), static_cast<std::size_t>(count > 0 ? count : 0));
}

// Whether an already folded node can vary: an operation that survived folding does, a
// constant does not, a variable does.
bool FoldedNodeVaries(const TVXParsExpressionRec* rec) {
  if (!rec->Word) return false;
  return rec->Word->GetIsVariable() ? rec->Word->GetCanVary() : true;
}

}  // namespace

TVXParsExpressionRec* TVXExpressionEvaluatorBase::RemoveConstants(TVXCompileState& state,
                                                                  TVXParsExpressionRec* rec) {
  if (!rec) return MakeRec(state, nullptr);
  if (!rec->Word) return rec;
  if (rec->Word->GetIsVariable()) return rec;  // constants and variables stay as they are
  // Children first: a varying node keeps its constant arguments folded, and a constant node
  // then finds its arguments already computed. The outcome is the same as folding the largest
  // constant subtrees, and variability is decided once per node.
  bool canVary = rec->Word->GetCanVary();
  const std::size_t deciding = DecidingArgs(rec);
  for (std::size_t i = 0; i < rec->ArgRecs.size(); ++i) {
    TVXParsExpressionRec* child = RemoveConstants(state, rec->ArgRecs[i]);
    rec->ArgRecs[i] = child;
    if (i < deciding && FoldedNodeVaries(child)) canVary = true;
  }
  if (canVary) return rec;

  bool isBooleanResult = false;
  const TVXParsDouble value = EvaluateDisposeTree(state, rec, isBooleanResult);
  std::unique_ptr<TVXParsDoubleConstant> constant;
  if (isBooleanResult)
    constant = std::make_unique<TVXParsBooleanConstant>(std::string(), value);
  else
    constant = std::make_unique<TVXParsDoubleConstant>(std::string(), value);
  TVXParsDoubleConstant* word = constant.get();
  state.Expression.Constants.push_back(std::move(constant));
  return MakeRec(state, word);
}

TVXParsDouble TVXExpressionEvaluatorBase::EvaluateDisposeTree(TVXCompileState& state,
                                                              TVXParsExpressionRec* rec,
                                                              bool& isBooleanResult) {
  isBooleanResult = rec->Word && rec->Word->GeTVXPArsVarType() == vtBoolean;
  // The subtree gets a linear list of its own, built with a compilation state of its own on
  // the same expression, whose record store keeps the folded nodes until it is released.
  TVXCompileState subtree(state.Expression, state.Text);
  MakeLinkedList(subtree, rec);
  TVXParsDouble result;
  EvaluateList(subtree.ListHead, result);
  return result;
}

}  // namespace loom
