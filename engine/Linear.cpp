// MakeLinkedList and EvaluateList: a tree becomes a list in which every operation follows its
// arguments, and a list runs from its first node to its last.
#include <algorithm>

#include "engine/Evaluator.h"
#include "engine/Messages.h"

namespace loom {

TVXParsDouble* TVXExpressionEvaluatorBase::MakeLinkedList(TVXCompileState& state,
                                                          TVXParsExpressionRec* rec) {
  if (!rec || !rec->Word) return nullptr;
  TVXParsExprWord* const word = rec->Word;
  if (word->GeTVXPArsVarType() == vtJump) {
    // The pairing gives a line one jump type, so a line may hold only one command.
    if (state.JumpNode) state.Fail(rsSecondJumpCommand, word->Name);
    state.JumpType = JumpTypeOfName(word->Name);
    state.JumpNode = rec;
  }
  // Constants and variables are read in place: their record is not kept in the list.
  if (word->GetIsVariable()) return word->AsPointer();

  const std::size_t count =
      word->GetDynamicArgs()
          ? rec->ArgRecs.size()
          : std::min(rec->ArgRecs.size(),
                     static_cast<std::size_t>(std::max(word->GetNFunctionArg(), 0)));
  CheckWrittenArguments(state, rec);
  rec->ArgData.assign(count, nullptr);
  for (std::size_t i = 0; i < count; ++i) rec->ArgData[i] = MakeLinkedList(state, rec->ArgRecs[i]);

  rec->Next = nullptr;
  if (!state.ListHead)
    state.ListHead = rec;
  else
    state.ListTail->Next = rec;
  state.ListTail = rec;
  return &rec->Result;
}

const TVXParsDouble& RunList(TVXParsExpressionRec* first) {
  TVXParsExpressionRec* node = first;
  while (node->Next) {
    node->Func(node);
    node = node->Next;
  }
  if (node->Func) node->Func(node);  // a lone constant's record has no procedure of its own
  return node->Result;
}

void TVXExpressionEvaluatorBase::EvaluateList(TVXParsExpressionRec* first, TVXParsDouble& result) {
  if (!first) {
    result.VarType = vtDouble;
    result.JumpFlag = false;
    result.Value = EmptyNaN();
    return;
  }
  CopyResult(RunList(first), result);
}

TVXParsDouble TVXExpressionEvaluatorBase::EvaluateList(TVXParsExpressionRec* first) {
  TVXParsDouble result;
  EvaluateList(first, result);
  return result;
}

}  // namespace loom
