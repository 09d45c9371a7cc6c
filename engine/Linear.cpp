// MakeLinkedList and EvaluateList: a tree becomes a list in which every operation follows its
// arguments, and a list runs from its first node to its last.
#include <algorithm>
#include <cctype>

#include "engine/Evaluator.h"

namespace loom {

namespace {

TVXParsJumpType JumpTypeOf(const std::string& name) {
  std::string lower;
  for (char c : name) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (lower == "if") return jtIf;
  if (lower == "else") return jtElse;
  if (lower == "endif") return jtEndIF;
  if (lower == "while") return jtWhile;
  if (lower == "wend") return jtWend;
  if (lower == "repeat") return jtRepeat;
  if (lower == "until") return jtUntil;
  return jtNone;
}

}  // namespace

TVXParsDouble* TVXExpressionEvaluatorBase::MakeLinkedList(TVXParsExpressionRec* rec) {
  if (!rec || !rec->Word) return nullptr;
  TVXParsExprWord* const word = rec->Word;
  if (word->GeTVXPArsVarType() == vtJump) jumpType_ = JumpTypeOf(word->Name);
  // Constants and variables are read in place: their record is not kept in the list.
  if (word->GetIsVariable()) return word->AsPointer();

  const std::size_t count = word->GetDynamicArgs()
                                ? rec->ArgRecs.size()
                                : std::min(rec->ArgRecs.size(),
                                           static_cast<std::size_t>(std::max(word->GetNFunctionArg(), 0)));
  CheckWrittenArguments(rec);
  rec->ArgData.assign(count, nullptr);
  for (std::size_t i = 0; i < count; ++i) rec->ArgData[i] = MakeLinkedList(rec->ArgRecs[i]);

  rec->Next = nullptr;
  if (!listHead_)
    listHead_ = rec;
  else
    listTail_->Next = rec;
  listTail_ = rec;
  return &rec->Result;
}

void TVXExpressionEvaluatorBase::EvaluateList(TVXParsExpressionRec* first, TVXParsDouble& result) {
  if (!first) {
    result.VarType = vtDouble;
    result.JumpFlag = false;
    result.Value = EmptyNaN();
    return;
  }
  TVXParsExpressionRec* node = first;
  while (node->Next) {
    node->Func(node);
    node = node->Next;
  }
  if (node->Func) node->Func(node);
  CopyResult(node->Result, result);
}

void CopyResult(const TVXParsDouble& last, TVXParsDouble& result) {
  result.VarType = last.VarType;
  result.JumpFlag = last.JumpFlag;
  switch (last.VarType) {
    case vtVector:
      result.Vector = last.Vector;
      break;
    case vtString:
      result.StrValue = last.StrValue;
      break;
    case vtMatrix:
      result.Matrix = last.Matrix;
      break;
    default:
      result.Value = last.Value;
      break;
  }
}

TVXParsDouble TVXExpressionEvaluatorBase::EvaluateList(TVXParsExpressionRec* first) {
  TVXParsDouble result;
  EvaluateList(first, result);
  return result;
}

}  // namespace loom
