#include "engine/Kernel.h"

#include <algorithm>
#include <map>
#include <type_traits>

#include "engine/ParserClasses.h"

namespace loom {

namespace {

// Elements per block of a vector run: large enough to amortise the dispatch, small enough that
// the registers of a formula stay in the first-level cache.
constexpr std::size_t kBlock = 256;
// Longer lists are rare and gain little; they keep their linear list only.
constexpr std::size_t kMaxInstructions = 64;

const TVXParsKernel* KernelOf(const TVXParsExpressionRec* node) {
  const auto* function = dynamic_cast<const TVXParsFunction*>(node->Word);
  if (!function || function->Kernel.Op == TVXKernelOp::kNone) return nullptr;
  return &function->Kernel;
}

bool IsArithmetic(TVXKernelOp op) {
  return op == TVXKernelOp::kAdd || op == TVXKernelOp::kSubtract || op == TVXKernelOp::kMultiply ||
         op == TVXKernelOp::kDivide;
}

int ArityOf(TVXKernelOp op) {
  switch (op) {
    case TVXKernelOp::kUnary:
    case TVXKernelOp::kCopy:
      return 1;
    default:
      return 2;
  }
}

}  // namespace

std::unique_ptr<TVXKernelProgram> TVXKernelProgram::Build(TVXParsExpressionRec* head,
                                                          TVXParsExpressionRec* last) {
  auto program = std::unique_ptr<TVXKernelProgram>(new TVXKernelProgram());
  Operand source;
  if (!BuildCode(*program, head, last, false, source)) return nullptr;
  program->result_ = &last->Result;
  program->BuildScalarTree(source);
  return program;
}

std::unique_ptr<TVXKernelProgram> TVXKernelProgram::BuildJump(TVXParsExpressionRec* head,
                                                              TVXParsExpressionRec* last,
                                                              TVXParsJumpType type) {
  JumpRule rule;
  switch (type) {
    case jtIf:
    case jtWhile:
    case jtUntil:
      rule = JumpRule::kWhenFalse;
      break;
    case jtElse:
    case jtWend:
      rule = JumpRule::kAlways;
      break;
    case jtEndIF:
    case jtRepeat:
      rule = JumpRule::kNever;
      break;
    default:
      return nullptr;
  }
  auto program = std::unique_ptr<TVXKernelProgram>(new TVXKernelProgram());
  program->jump_ = rule;
  program->vectorCapable_ = false;
  program->result_ = &last->Result;
  if (rule != JumpRule::kWhenFalse)
    return head == last && last->ArgData.empty() ? std::move(program) : nullptr;
  Operand condition;
  if (!BuildCode(*program, head, last, true, condition)) return nullptr;
  program->BuildScalarTree(condition);
  return program;
}

bool TVXKernelProgram::BuildCode(TVXKernelProgram& program, TVXParsExpressionRec* head,
                                 const TVXParsExpressionRec* last, bool jumpCommand,
                                 Operand& rootSource) {
  std::map<const TVXParsDouble*, int> registers;  // node result -> register
  auto operandOf = [&](const TVXParsExpressionRec* node, std::size_t index,
                       Operand& operand) -> bool {
    const TVXParsDouble* data = node->ArgData[index];
    if (!data) return false;
    if (auto it = registers.find(data); it != registers.end()) {
      operand.reg = it->second;
      return true;
    }
    operand.input = data;
    if (std::find(program.inputs_.begin(), program.inputs_.end(), data) != program.inputs_.end())
      return true;
    program.inputs_.push_back(data);
    // A number constant stays a number (nothing may write to a constant): no need to check it.
    const TVXParsExpressionRec* arg = index < node->ArgRecs.size() ? node->ArgRecs[index] : nullptr;
    const bool constant = arg && arg->Word && arg->Word->GetIsVariable() &&
                          !arg->Word->GetCanVary() && data->VarType == vtDouble;
    if (!constant) program.guards_.push_back(&data->VarType);
    return true;
  };

  for (TVXParsExpressionRec* node = head; node; node = node->Next) {
    // A jump command ends its line; the tree computes its condition.
    if (jumpCommand && node == last)
      return node->ArgData.size() == 1 && operandOf(node, 0, rootSource);
    const TVXParsKernel* kernel = KernelOf(node);
    if (!kernel || program.code_.size() >= kMaxInstructions) return false;
    if (kernel->Op == TVXKernelOp::kAssign) {
      // Only as the last operation: the target may be read by nothing after it.
      if (jumpCommand || node != last || node->ArgData.size() != 2 || !node->ArgData[0])
        return false;
      if (!operandOf(node, 1, program.assignSource_)) return false;
      program.assignTarget_ = node->ArgData[0];
      rootSource = program.assignSource_;
      return true;
    }
    const int arity = ArityOf(kernel->Op);
    if (static_cast<int>(node->ArgData.size()) != arity) return false;
    Instruction in{kernel->Op, kernel, {}, {}, 0};
    if (!operandOf(node, 0, in.x)) return false;
    if (arity == 2 && !operandOf(node, 1, in.y)) return false;
    if (kernel->Op == TVXKernelOp::kCompare) program.vectorCapable_ = false;
    if (kernel->MayThrow) program.mayThrow_ = true;
    // Every operation but the four arithmetic ones and a copy calls a function, which may
    // raise: such a program checks the kinds before it runs.
    if (kernel->MayThrow || (!IsArithmetic(kernel->Op) && kernel->Op != TVXKernelOp::kCopy))
      program.checkFirst_ = true;
    in.out = static_cast<int>(program.code_.size());
    registers[&node->Result] = in.out;
    program.code_.push_back(in);
  }
  if (jumpCommand || program.code_.empty()) return false;
  rootSource = Operand{nullptr, program.code_.back().out};
  return true;
}

namespace {

// The operation of a node: the four arithmetic operations inline, every other one through the
// element function of its word (the very function the word's body applies).
template <TVXKernelOp Op>
inline double Apply(const TVXScalarNode& n, double a, double b) {
  if constexpr (Op == TVXKernelOp::kAdd)
    return a + b;
  else if constexpr (Op == TVXKernelOp::kSubtract)
    return a - b;
  else if constexpr (Op == TVXKernelOp::kMultiply)
    return a * b;
  else if constexpr (Op == TVXKernelOp::kDivide)
    return a / b;
  else
    return n.binary(a, b);  // kBinary, and the forms that are never selected
}

// Where an operand comes from: read in place, computed by a child node, or (the arithmetic
// operations) one arithmetic operation on two values read in place, computed inline.
using Kind = TVXKernelOp;
constexpr Kind kInPlace = TVXKernelOp::kNone;
constexpr Kind kChild = TVXKernelOp::kCopy;

// What a node function returns: its number, and with Checked the kinds of the values it read.
template <bool Checked>
using NodeResult = std::conditional_t<Checked, TVXScalarValue, double>;

inline double NumberOf(double number) {
  return number;
}
inline double NumberOf(const TVXScalarValue& value) {
  return value.Number;
}
// The kinds behind a value read in place or a checked operand's result.
inline unsigned KindsRead(const TVXParsDouble* value) {
  return value->VarType;
}
inline unsigned KindsRead(const TVXScalarValue& value) {
  return value.Kinds;
}

// A node's result: its number, and with Checked the kinds behind its sources ORed.
template <bool Checked, typename... Sources>
inline NodeResult<Checked> ResultOf(double number, const Sources&... sources) {
  if constexpr (Checked)
    return TVXScalarValue{number, (KindsRead(sources) | ...)};
  else
    return number;
}

template <Kind K, bool Checked>
inline NodeResult<Checked> OperandValue(const TVXScalarNode& n, const TVXScalarOperand& o) {
  if constexpr (K == kChild) {
    if constexpr (Checked)
      return o.child->EvalChecked(*o.child);
    else
      return o.child->Eval(*o.child);
  } else if constexpr (K == kInPlace) {
    return ResultOf<Checked>(o.value[0]->Value, o.value[0]);
  } else {
    return ResultOf<Checked>(Apply<K>(n, o.value[0]->Value, o.value[1]->Value), o.value[0],
                             o.value[1]);
  }
}

// x op y. The left operand is computed first, as the linear list does, so that of two raising
// operations the same one raises.
template <TVXKernelOp Op, Kind Left, Kind Right, bool Checked>
NodeResult<Checked> EvalBinary(const TVXScalarNode& n) {
  const auto x = OperandValue<Left, Checked>(n, n.operand[0]);
  const auto y = OperandValue<Right, Checked>(n, n.operand[1]);
  return ResultOf<Checked>(Apply<Op>(n, NumberOf(x), NumberOf(y)), x, y);
}

template <bool Copy, Kind K, bool Checked>
NodeResult<Checked> EvalUnary(const TVXScalarNode& n) {
  const auto x = OperandValue<K, Checked>(n, n.operand[0]);
  if constexpr (Copy)
    return x;
  else
    return ResultOf<Checked>(n.unary(NumberOf(x)), x);
}

// A node's two functions.
struct ScalarEval {
  double (*Eval)(const TVXScalarNode&);
  TVXScalarValue (*EvalChecked)(const TVXScalarNode&);
};

// Calls make(tag) with tag's value the compile-time form of kind.
template <typename Make>
ScalarEval ForKind(Kind kind, Make make) {
  switch (kind) {
    case TVXKernelOp::kAdd:
      return make(std::integral_constant<Kind, TVXKernelOp::kAdd>());
    case TVXKernelOp::kSubtract:
      return make(std::integral_constant<Kind, TVXKernelOp::kSubtract>());
    case TVXKernelOp::kMultiply:
      return make(std::integral_constant<Kind, TVXKernelOp::kMultiply>());
    case TVXKernelOp::kDivide:
      return make(std::integral_constant<Kind, TVXKernelOp::kDivide>());
    case kChild:
      return make(std::integral_constant<Kind, kChild>());
    default:
      return make(std::integral_constant<Kind, kInPlace>());
  }
}

// The function of a node; op is an arithmetic operation or one applied through an element
// function (kBinary, kScalarRight, kCompare).
ScalarEval BinaryEval(TVXKernelOp op, Kind left, Kind right) {
  // The operations applied through an element function share one form, selected as kChild.
  return ForKind(IsArithmetic(op) ? op : kChild, [&](auto opTag) {
    return ForKind(left, [&](auto leftTag) {
      return ForKind(right, [&](auto rightTag) -> ScalarEval {
        constexpr TVXKernelOp kOp =
            decltype(opTag)::value == kChild ? TVXKernelOp::kBinary : decltype(opTag)::value;
        constexpr Kind kLeft = decltype(leftTag)::value, kRight = decltype(rightTag)::value;
        return ScalarEval{&EvalBinary<kOp, kLeft, kRight, false>,
                          &EvalBinary<kOp, kLeft, kRight, true>};
      });
    });
  });
}

ScalarEval UnaryEval(bool copy, Kind kind) {
  return ForKind(kind, [&](auto tag) -> ScalarEval {
    constexpr Kind kKind = decltype(tag)::value;
    return copy ? ScalarEval{&EvalUnary<true, kKind, false>, &EvalUnary<true, kKind, true>}
                : ScalarEval{&EvalUnary<false, kKind, false>, &EvalUnary<false, kKind, true>};
  });
}

}  // namespace

TVXScalarValue TVXKernelProgram::CheckThenEval(const TVXScalarNode& root) {
  const unsigned kinds = KindsOf(root.checkedBy->guards_);
  if (kinds != vtDouble) return {0.0, kinds};
  return {root.Eval(root), vtDouble};
}

TVXKernelProgram& TVXKernelProgram::None() {
  static const std::unique_ptr<TVXKernelProgram> none = [] {
    auto program = std::unique_ptr<TVXKernelProgram>(new TVXKernelProgram());
    // Reports a kind that is not a number's, and computes nothing.
    program->root_.EvalChecked = [](const TVXScalarNode&) { return TVXScalarValue{0.0, vtVector}; };
    return program;
  }();
  return *none;
}

void TVXKernelProgram::BuildScalarTree(const Operand& rootSource) {
  // One node per instruction at most, and one for a value read in place.
  nodes_.clear();
  nodes_.reserve(code_.size() + 1);
  if (rootSource.input) {
    TVXScalarNode copy;
    const ScalarEval eval = UnaryEval(true, kInPlace);
    copy.Eval = eval.Eval;
    copy.EvalChecked = eval.EvalChecked;
    copy.operand[0].value[0] = rootSource.input;
    root_ = copy;
  } else {
    root_ = *ScalarNodeOf(rootSource.reg);
  }
  if (checkFirst_) {
    root_.EvalChecked = &CheckThenEval;
    root_.checkedBy = this;
  }
}

TVXKernelOp TVXKernelProgram::ScalarOperandOf(const Operand& from, TVXScalarOperand& to) {
  if (from.input) {
    to.value[0] = from.input;
    return kInPlace;
  }
  // An arithmetic operation on two values read in place is computed inline by its parent.
  const Instruction& inner = code_[static_cast<std::size_t>(from.reg)];
  if (IsArithmetic(inner.op) && inner.x.input && inner.y.input) {
    to.value[0] = inner.x.input;
    to.value[1] = inner.y.input;
    return inner.op;
  }
  to.child = ScalarNodeOf(from.reg);
  return kChild;
}

double (*TVXKernelProgram::ConstantRightForm(const Instruction& in) const)(double) {
  // A value read in place that no guard checks is a number constant.
  const TVXParsDouble* right = in.y.input;
  if (!in.kernel->WithRight || !right ||
      std::find(guards_.begin(), guards_.end(), &right->VarType) != guards_.end())
    return nullptr;
  return in.kernel->WithRight(right->Value);
}

const TVXScalarNode* TVXKernelProgram::ScalarNodeOf(int reg) {
  const Instruction& in = code_[static_cast<std::size_t>(reg)];
  TVXScalarNode node;
  node.unary = in.kernel->Unary;
  node.binary = in.kernel->Binary;
  // Operands first: a child is complete before its parent points at it.
  const Kind left = ScalarOperandOf(in.x, node.operand[0]);
  ScalarEval eval;
  if (ArityOf(in.op) == 1) {
    eval = UnaryEval(in.op == TVXKernelOp::kCopy, left);
  } else if (double (*const withRight)(double) = ConstantRightForm(in)) {
    node.unary = withRight;
    eval = UnaryEval(false, left);
  } else {
    const Kind right = ScalarOperandOf(in.y, node.operand[1]);
    eval = BinaryEval(in.op, left, right);
  }
  node.Eval = eval.Eval;
  node.EvalChecked = eval.EvalChecked;
  nodes_.push_back(node);
  return &nodes_.back();
}

TVXKernelStretch::TVXKernelStretch(int first, std::vector<TVXKernelProgram*> lines)
    : first_(first), lines_(std::move(lines)) {
  // Up to the first jump command every line runs, in order: a value written there is a number
  // for every line after it. After it, a value written is a number for the lines up to the next
  // jump command: such a line is reached only from the line before it, since a jump followed
  // inside the stretch lands right after a jump command (RunWithJumps leaves the stretch for
  // any other). Every other value read is checked.
  std::vector<const TVXPArsVarType*> always, sinceJump;
  auto contains = [](const std::vector<const TVXPArsVarType*>& kinds, const TVXPArsVarType* kind) {
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
  };
  bool straight = true;
  for (const TVXKernelProgram* program : lines_) {
    for (const TVXPArsVarType* kind : program->guards_)
      if (!contains(always, kind) && !contains(sinceJump, kind) && !contains(guards_, kind))
        guards_.push_back(kind);
    if (program->IsJump()) {
      straight = false;
      sinceJump.clear();
    }
    if (program->assignTarget_)
      (straight ? always : sinceJump).push_back(&program->assignTarget_->VarType);
  }
  jumpCommands_ = !straight;
}

const TVXParsDouble* TVXKernelStretch::RunWithJumps(const int* jumps, int jumpCount, int& running,
                                                    int& previous) {
  if (!GuardsHold()) return nullptr;
  // The line run and the one run before it are kept in registers, as positions in lines_, and
  // handed out when a line raises: running and previous are not written per line.
  TVXKernelProgram* const* const begin = lines_.data();
  TVXKernelProgram* const* const stop = begin + lines_.size();
  TVXKernelProgram* const* at = begin;
  TVXKernelProgram* const* before = nullptr;
  auto lineOf = [&](TVXKernelProgram* const* position) {
    return position ? first_ + static_cast<int>(position - begin) : -1;
  };
  try {
    while (at != stop) {
      TVXKernelProgram& program = **at;
      if (!program.IsJump()) {
        program.RunUnguarded();
      } else if (program.RunJump() && jumps) {
        const int line = lineOf(at);
        const int target = line < jumpCount ? jumps[line] : -1;
        if (target >= 0) {
          // Followed here: forward, within the stretch or just past it, and landing right
          // after a jump command (the guards rely on it).
          const int offset = target - first_;
          if (target <= line || offset > static_cast<int>(lines_.size()) ||
              !begin[offset - 1]->IsJump()) {
            running = line;
            previous = -1;
            return &program.Result();
          }
          before = at;
          at = begin + offset;
          continue;
        }
      }
      before = at++;
    }
  } catch (...) {
    running = lineOf(at);
    previous = lineOf(before);
    throw;
  }
  running = lineOf(before);
  previous = -1;  // only asked for while the stretch runs
  return &(*before)->Result();
}

bool TVXKernelProgram::RunVectors() {
  if (!vectorCapable_) return false;
  std::size_t length = 0;
  bool anyVector = false;
  for (const TVXParsDouble* input : inputs_) {
    if (input->VarType == vtDouble) continue;
    if (input->VarType != vtVector) return false;
    if (anyVector && input->Vector.size() != length) return false;  // the list says why
    length = input->Vector.size();
    anyVector = true;
  }
  // An operation that can raise may raise for its number operand alone, which a run over no
  // elements would never try: empty vectors keep the list's way then.
  if (length == 0 && mayThrow_) return false;
  return anyVector && RunVectorBlocks(length);
}

bool TVXKernelProgram::RunVectorBlocks(std::size_t length) {
  // The registers of vector runs are made by the first one: most formulas never see a vector.
  if (regIsScalar_.size() != code_.size()) {
    scalarRegs_.assign(code_.size(), 0.0);
    regIsScalar_.assign(code_.size(), 0);
    blocks_.assign(code_.size() * kBlock, 0.0);
  }
  // Which registers hold one number for the whole run: those computed from numbers only.
  auto isScalar = [this](const Operand& o) {
    return o.input ? o.input->VarType == vtDouble : regIsScalar_[o.reg] != 0;
  };
  for (const Instruction& in : code_) {
    const bool xs = isScalar(in.x);
    const bool ys = ArityOf(in.op) == 1 || isScalar(in.y);
    // The second argument of an element-rule function is read as a number whatever it holds.
    if (in.op == TVXKernelOp::kScalarRight && !ys) return false;
    regIsScalar_[in.out] = xs && ys;
  }
  const Operand& source = assignTarget_ ? assignSource_ : Operand{nullptr, code_.back().out};
  if (isScalar(source)) return false;  // cannot happen with a vector input; keep the list's way

  // The target is written block by block while the run goes, unless an operation may raise:
  // then it is written at the end, so that a failed run leaves it as it was.
  TVXParsDouble* const target = assignTarget_ != source.input ? assignTarget_ : nullptr;
  const bool targetAtEnd = target && mayThrow_;
  // Size the outputs first; an input that is also the target keeps its length (and storage).
  result_->Vector.resize(length);
  if (target && !targetAtEnd) target->Vector.resize(length);
  for (std::size_t offset = 0; offset < length; offset += kBlock) {
    const std::size_t count = std::min(kBlock, length - offset);
    double* const out = result_->Vector.data() + offset;
    // The instruction that yields the result writes straight into the result's vector.
    RunBlock(offset, count, source.input ? -1 : source.reg, out);
    if (source.input) std::copy_n(source.input->Vector.data() + offset, count, out);
    if (target && !targetAtEnd) std::copy_n(out, count, target->Vector.data() + offset);
  }
  if (targetAtEnd) target->Vector = result_->Vector;
  result_->VarType = vtVector;
  if (assignTarget_) assignTarget_->VarType = vtVector;
  return true;
}

void TVXKernelProgram::RunBlock(std::size_t offset, std::size_t count, int resultReg,
                                double* resultOut) {
  auto pointer = [&](const Operand& o) -> const double* {
    if (o.input)
      return o.input->VarType == vtDouble ? &o.input->Value : o.input->Vector.data() + offset;
    return regIsScalar_[o.reg] ? &scalarRegs_[o.reg] : blocks_.data() + o.reg * kBlock;
  };
  auto scalar = [&](const Operand& o) {
    return o.input ? o.input->VarType == vtDouble : regIsScalar_[o.reg] != 0;
  };
  for (const Instruction& in : code_) {
    const double* x = pointer(in.x);
    const bool xs = scalar(in.x);
    double* out = regIsScalar_[in.out]  ? &scalarRegs_[in.out]
                  : in.out == resultReg ? resultOut
                                        : blocks_.data() + in.out * kBlock;
    if (ArityOf(in.op) == 1) {
      const std::size_t n = xs ? 1 : count;
      if (in.op == TVXKernelOp::kCopy)
        std::copy(x, x + n, out);
      else if (in.kernel->UnaryBlock)
        in.kernel->UnaryBlock(x, out, n);
      else
        for (std::size_t i = 0; i < n; ++i) out[i] = in.kernel->Unary(x[i]);
      continue;
    }
    const double* y = pointer(in.y);
    const bool ys = scalar(in.y);
    switch (in.op) {
      case TVXKernelOp::kAdd:
        ApplyBlock(x, xs, y, ys, out, count, [](double a, double b) { return a + b; });
        break;
      case TVXKernelOp::kSubtract:
        ApplyBlock(x, xs, y, ys, out, count, [](double a, double b) { return a - b; });
        break;
      case TVXKernelOp::kMultiply:
        ApplyBlock(x, xs, y, ys, out, count, [](double a, double b) { return a * b; });
        break;
      case TVXKernelOp::kDivide:
        ApplyBlock(x, xs, y, ys, out, count, [](double a, double b) { return a / b; });
        break;
      default:
        if (in.kernel->BinaryBlock)
          in.kernel->BinaryBlock(x, xs, y, ys, out, count);
        else
          ApplyBlock(x, xs, y, ys, out, count, in.kernel->Binary);
        break;
    }
  }
}

}  // namespace loom
