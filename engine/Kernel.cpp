#include "engine/Kernel.h"

#include <algorithm>
#include <map>

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
  std::map<const TVXParsDouble*, int> registers;  // node result -> register
  auto operandOf = [&](const TVXParsDouble* data, Operand& operand) -> bool {
    if (!data) return false;
    if (auto it = registers.find(data); it != registers.end()) {
      operand.reg = it->second;
      return true;
    }
    operand.input = data;
    if (std::find(program->inputs_.begin(), program->inputs_.end(), data) == program->inputs_.end())
      program->inputs_.push_back(data);
    return true;
  };

  for (TVXParsExpressionRec* node = head; node; node = node->Next) {
    const TVXParsKernel* kernel = KernelOf(node);
    if (!kernel || program->code_.size() >= kMaxInstructions) return nullptr;
    if (kernel->Op == TVXKernelOp::kAssign) {
      // Only as the last operation: the target may be read by nothing after it.
      if (node != last || node->ArgData.size() != 2 || !node->ArgData[0]) return nullptr;
      if (!operandOf(node->ArgData[1], program->assignSource_)) return nullptr;
      program->assignTarget_ = node->ArgData[0];
      break;
    }
    const int arity = ArityOf(kernel->Op);
    if (static_cast<int>(node->ArgData.size()) != arity) return nullptr;
    Instruction in{kernel->Op, kernel->Unary, kernel->Binary, {}, {}, 0};
    if (!operandOf(node->ArgData[0], in.x)) return nullptr;
    if (arity == 2 && !operandOf(node->ArgData[1], in.y)) return nullptr;
    if (kernel->Op == TVXKernelOp::kCompare) program->vectorCapable_ = false;
    if (kernel->MayThrow) program->mayThrow_ = true;
    in.out = static_cast<int>(program->code_.size());
    registers[&node->Result] = in.out;
    program->code_.push_back(in);
  }
  // The assignment's target is written, never read through the guard, unless it is read too.
  program->result_ = &last->Result;
  program->scalarRegs_.assign(program->code_.size(), 0.0);
  program->PrepareScalarCode();
  program->SelectNumbersRunner();
  program->regIsScalar_.assign(program->code_.size(), 0);
  program->blocks_.assign(program->code_.size() * kBlock, 0.0);
  return program;
}

void TVXKernelProgram::PrepareScalarCode() {
  auto address = [this](const Operand& o) -> const double* {
    return o.input ? &o.input->Value : &scalarRegs_[static_cast<std::size_t>(o.reg)];
  };
  scalarCode_.clear();
  for (const Instruction& in : code_) {
    scalarCode_.push_back({in.op, in.unary, in.binary, address(in.x),
                           ArityOf(in.op) == 2 ? address(in.y) : nullptr,
                           &scalarRegs_[static_cast<std::size_t>(in.out)]});
  }
  // Without an assignment the last instruction writes the result directly.
  if (assignTarget_)
    scalarSource_ = address(assignSource_);
  else
    scalarCode_.back().out = &result_->Value;
}

// vtDouble is 0: values are all numbers exactly when their kinds OR to 0.
static_assert(vtDouble == 0);

inline void SetNumber(TVXParsDouble& value, double number) {
  value.VarType = vtDouble;
  value.Value = number;
}

template <TVXKernelOp Op>
inline double Arithmetic(double a, double b) {
  if constexpr (Op == TVXKernelOp::kAdd) return a + b;
  if constexpr (Op == TVXKernelOp::kSubtract) return a - b;
  if constexpr (Op == TVXKernelOp::kMultiply) return a * b;
  if constexpr (Op == TVXKernelOp::kDivide) return a / b;
}

struct GenericNumbers {
  static bool Run(TVXKernelProgram& p) {
    unsigned kinds = 0;
    for (const TVXParsDouble* input : p.inputs_) kinds |= input->VarType;
    if (kinds != vtDouble) return false;
    p.RunScalar();
    return true;
  }
};

// x op y, or target := x op y: one operation on two values read in place.
template <TVXKernelOp Op>
struct OneOperation {
  static bool Run(TVXKernelProgram& p) {
    const TVXParsDouble& x = *p.fused_[0];
    const TVXParsDouble& y = *p.fused_[1];
    if ((x.VarType | y.VarType) != vtDouble) return false;
    const double r = Arithmetic<Op>(x.Value, y.Value);
    if (p.assignTarget_) SetNumber(*p.assignTarget_, r);
    SetNumber(*p.result_, r);
    return true;
  }
};

// (x op1 y) op2 z when FirstIsLeft, else z op2 (x op1 y).
template <TVXKernelOp First, TVXKernelOp Second, bool FirstIsLeft>
struct TwoOperations {
  static bool Run(TVXKernelProgram& p) {
    const TVXParsDouble& x = *p.fused_[0];
    const TVXParsDouble& y = *p.fused_[1];
    const TVXParsDouble& z = *p.fused_[2];
    if ((x.VarType | y.VarType | z.VarType) != vtDouble) return false;
    const double inner = Arithmetic<First>(x.Value, y.Value);
    const double r =
        FirstIsLeft ? Arithmetic<Second>(inner, z.Value) : Arithmetic<Second>(z.Value, inner);
    SetNumber(*p.result_, r);
    return true;
  }
};

namespace {

bool IsArithmetic(TVXKernelOp op) {
  return op == TVXKernelOp::kAdd || op == TVXKernelOp::kSubtract || op == TVXKernelOp::kMultiply ||
         op == TVXKernelOp::kDivide;
}

template <TVXKernelOp Op>
auto OneRunner() {
  return &OneOperation<Op>::Run;
}

using NumbersRunner = bool (*)(TVXKernelProgram&);

NumbersRunner OneRunnerFor(TVXKernelOp op) {
  switch (op) {
    case TVXKernelOp::kAdd:
      return OneRunner<TVXKernelOp::kAdd>();
    case TVXKernelOp::kSubtract:
      return OneRunner<TVXKernelOp::kSubtract>();
    case TVXKernelOp::kMultiply:
      return OneRunner<TVXKernelOp::kMultiply>();
    default:
      return OneRunner<TVXKernelOp::kDivide>();
  }
}

template <TVXKernelOp First, bool FirstIsLeft>
NumbersRunner TwoRunnerFor(TVXKernelOp second) {
  switch (second) {
    case TVXKernelOp::kAdd:
      return &TwoOperations<First, TVXKernelOp::kAdd, FirstIsLeft>::Run;
    case TVXKernelOp::kSubtract:
      return &TwoOperations<First, TVXKernelOp::kSubtract, FirstIsLeft>::Run;
    case TVXKernelOp::kMultiply:
      return &TwoOperations<First, TVXKernelOp::kMultiply, FirstIsLeft>::Run;
    default:
      return &TwoOperations<First, TVXKernelOp::kDivide, FirstIsLeft>::Run;
  }
}

template <bool FirstIsLeft>
NumbersRunner TwoRunnerFor(TVXKernelOp first, TVXKernelOp second) {
  switch (first) {
    case TVXKernelOp::kAdd:
      return TwoRunnerFor<TVXKernelOp::kAdd, FirstIsLeft>(second);
    case TVXKernelOp::kSubtract:
      return TwoRunnerFor<TVXKernelOp::kSubtract, FirstIsLeft>(second);
    case TVXKernelOp::kMultiply:
      return TwoRunnerFor<TVXKernelOp::kMultiply, FirstIsLeft>(second);
    default:
      return TwoRunnerFor<TVXKernelOp::kDivide, FirstIsLeft>(second);
  }
}

}  // namespace

void TVXKernelProgram::SelectNumbersRunner() {
  numbers_ = &GenericNumbers::Run;
  // One arithmetic operation on two values, possibly assigned.
  if (code_.size() == 1 && IsArithmetic(code_[0].op) && code_[0].x.input && code_[0].y.input &&
      (!assignTarget_ || assignSource_.reg == 0)) {
    fused_[0] = code_[0].x.input;
    fused_[1] = code_[0].y.input;
    numbers_ = OneRunnerFor(code_[0].op);
    return;
  }
  // Two arithmetic operations, the second using the first: a+b*c, (a+b)*c.
  if (code_.size() == 2 && !assignTarget_ && IsArithmetic(code_[0].op) &&
      IsArithmetic(code_[1].op) && code_[0].x.input && code_[0].y.input) {
    const Instruction& second = code_[1];
    fused_[0] = code_[0].x.input;
    fused_[1] = code_[0].y.input;
    if (second.x.reg == 0 && second.y.input) {
      fused_[2] = second.y.input;
      numbers_ = TwoRunnerFor<true>(code_[0].op, second.op);
    } else if (second.y.reg == 0 && second.x.input) {
      fused_[2] = second.x.input;
      numbers_ = TwoRunnerFor<false>(code_[0].op, second.op);
    }
  }
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
  return anyVector && RunVectorBlocks(length);
}

void TVXKernelProgram::RunScalar() {
  for (const ScalarInstruction& in : scalarCode_) {
    switch (in.op) {
      case TVXKernelOp::kAdd:
        *in.out = *in.x + *in.y;
        break;
      case TVXKernelOp::kSubtract:
        *in.out = *in.x - *in.y;
        break;
      case TVXKernelOp::kMultiply:
        *in.out = *in.x * *in.y;
        break;
      case TVXKernelOp::kDivide:
        *in.out = *in.x / *in.y;
        break;
      case TVXKernelOp::kUnary:
        *in.out = in.unary(*in.x);
        break;
      case TVXKernelOp::kCopy:
        *in.out = *in.x;
        break;
      default:
        *in.out = in.binary(*in.x, *in.y);
        break;
    }
  }
  if (assignTarget_) {
    const double source = *scalarSource_;
    assignTarget_->VarType = vtDouble;
    assignTarget_->Value = source;
    result_->Value = source;
  }
  result_->VarType = vtDouble;
}

namespace {

// out[i] = op(x[i], y[i]) where a scalar operand (xs / ys) is one number for every element.
template <class Op>
inline void Apply2(const double* x, bool xs, const double* y, bool ys, double* out, std::size_t n,
                   Op op) {
  if (!xs && !ys) {
    for (std::size_t i = 0; i < n; ++i) out[i] = op(x[i], y[i]);
  } else if (xs && !ys) {
    const double a = *x;
    for (std::size_t i = 0; i < n; ++i) out[i] = op(a, y[i]);
  } else if (!xs && ys) {
    const double b = *y;
    for (std::size_t i = 0; i < n; ++i) out[i] = op(x[i], b);
  } else {
    out[0] = op(*x, *y);
  }
}

}  // namespace

bool TVXKernelProgram::RunVectorBlocks(std::size_t length) {
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
      else
        for (std::size_t i = 0; i < n; ++i) out[i] = in.unary(x[i]);
      continue;
    }
    const double* y = pointer(in.y);
    const bool ys = scalar(in.y);
    switch (in.op) {
      case TVXKernelOp::kAdd:
        Apply2(x, xs, y, ys, out, count, [](double a, double b) { return a + b; });
        break;
      case TVXKernelOp::kSubtract:
        Apply2(x, xs, y, ys, out, count, [](double a, double b) { return a - b; });
        break;
      case TVXKernelOp::kMultiply:
        Apply2(x, xs, y, ys, out, count, [](double a, double b) { return a * b; });
        break;
      case TVXKernelOp::kDivide:
        Apply2(x, xs, y, ys, out, count, [](double a, double b) { return a / b; });
        break;
      default:
        Apply2(x, xs, y, ys, out, count, in.binary);
        break;
    }
  }
}

}  // namespace loom
