// The fast path of arithmetic formulas.
//
// Most formulas that measurement users run are arithmetic over numbers and vectors: a+b*c,
// sin(a)*cos(b)+sqrt(c), y := (a+b)*(c-d)/e. For such an expression the compiler builds, beside
// its linear list, a TVXKernelProgram: the same operations over doubles, with operands read in
// place. Before each evaluation the program checks the kinds of the values it reads; when they
// are all numbers it runs as a tree of nodes that return their numbers, when they are numbers
// and vectors of one length it runs block by block over the vectors (one pass, loops the
// compiler vectorises), and otherwise the linear list runs as usual. Both paths compute exactly
// the same results: the element operations are the very functions the bodies use.
//
// The kinds are checked in one of two ways. A program of arithmetic operations, evaluated
// alone, reads each value's kind beside its number while it runs and keeps the result only when
// all of them were numbers; until then it has written nothing. A program that calls functions
// checks the kinds first instead: an operation that can raise must never see a value that is
// not a number, and the kinds would have to be kept across every call. A stretch of lines checks
// once for all its lines and then runs them without looking.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/ParserClasses.h"

namespace loom {

struct TVXParsExpressionRec;

struct TVXScalarNode;
class TVXKernelProgram;

// What a node computes, with the kinds of the values it read ORed together: all of them were
// numbers exactly when Kinds is 0. Returned in two machine registers.
struct TVXScalarValue {
  double Number;
  unsigned Kinds;
};

// An operand of a numbers-only node: one value read in place, two values that an arithmetic
// operation combines inline, or a child node.
struct TVXScalarOperand {
  const TVXParsDouble* value[2] = {nullptr, nullptr};
  const TVXScalarNode* child = nullptr;
};

// One operation of a numbers-only run. Nodes return their number, so that the values between
// operations stay in machine registers. Eval and EvalChecked are functions specialised for the
// operation and for where each operand comes from; EvalChecked also returns the kinds read.
struct TVXScalarNode {
  double (*Eval)(const TVXScalarNode& node) = nullptr;
  TVXScalarValue (*EvalChecked)(const TVXScalarNode& node) = nullptr;
  TVXScalarOperand operand[2];
  double (*unary)(double) = nullptr;
  double (*binary)(double, double) = nullptr;
  // The root of a program that checks the kinds before it runs: that program.
  const TVXKernelProgram* checkedBy = nullptr;
};

// Kinds are ORed: all numbers exactly when the result is 0.
static_assert(vtDouble == 0);

// The OR of the kinds that kinds point at.
inline unsigned KindsOf(const std::vector<const TVXPArsVarType*>& kinds) {
  unsigned result = vtDouble;
  for (const TVXPArsVarType* kind : kinds) result |= *kind;
  return result;
}

// out[i] = op(x[i], y[i]) for i < n, where an operand marked scalar (xs, ys) is one number for
// every element; two scalars give out[0] alone. The loop of every binary operation of a vector
// run, and of the block functions that words provide (TVXParsKernel::BinaryBlock).
template <class Op>
inline void ApplyBlock(const double* x, bool xs, const double* y, bool ys, double* out,
                       std::size_t n, Op op) {
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

class TVXKernelProgram {
 public:
  // Builds the program of a linear list, or returns null when a node is not pure arithmetic.
  static std::unique_ptr<TVXKernelProgram> Build(TVXParsExpressionRec* head,
                                                 TVXParsExpressionRec* last);
  // Builds the program of a line whose last node is the jump command of type: the command
  // alone, or its condition when that is pure arithmetic. Null otherwise. Such a program runs
  // only inside a stretch, with RunJump.
  static std::unique_ptr<TVXKernelProgram> BuildJump(TVXParsExpressionRec* head,
                                                     TVXParsExpressionRec* last,
                                                     TVXParsJumpType type);

  // The case of numbers only, tried first: when every value read is a number, runs the
  // program, writes the number into last->Result (and the assignment's target) and into
  // number, and returns true; otherwise changes nothing and returns false. Inline: GetResults
  // runs it for every evaluation.
  bool RunNumbers(double& number) {
    const TVXScalarValue value = root_.EvalChecked(root_);
    if (value.Kinds != vtDouble) [[unlikely]]
      return false;
    number = value.Number;
    Write(number);
    return true;
  }
  bool RunNumbers() {
    double number;
    return RunNumbers(number);
  }

  // RunNumbers without its check: the caller knows that every value read is a number.
  double RunUnguarded() {
    const double number = root_.Eval(root_);
    Write(number);
    return number;
  }
  // The expression's result, which a run writes.
  const TVXParsDouble& Result() const { return *result_; }
  // A program whose RunNumbers always refuses: what the inline paths find for an expression
  // without a program, so that they need not test for one. It writes nothing and may be shared
  // by threads.
  static TVXKernelProgram& None();

  bool IsJump() const { return jump_ != JumpRule::kNone; }
  // The jump command's run, unguarded: computes whether it jumps, writes that into
  // last->Result as the command does (1 or 0, and the jump flag) and returns it. A condition
  // is false exactly when its value lies strictly between -0.1 and 0.1.
  bool RunJump() {
    bool jump = jump_ == JumpRule::kAlways;
    if (jump_ == JumpRule::kWhenFalse) {
      const double condition = root_.Eval(root_);
      jump = condition > -0.1 && condition < 0.1;
    }
    result_->VarType = vtDouble;
    result_->Value = jump ? 1.0 : 0.0;
    result_->JumpFlag = jump;
    return jump;
  }

  // The case of numbers and vectors of one length: runs block by block into last->Result's
  // vector (and the assignment's target) and returns true; false (nothing changed) when the
  // kinds of the values read do not allow it.
  bool RunVectors();

 private:
  friend class TVXKernelStretch;

  // An operand: an input value read in place, or the register of an earlier instruction.
  struct Operand {
    const TVXParsDouble* input = nullptr;  // null for a register
    int reg = -1;
  };
  struct Instruction {
    TVXKernelOp op;
    const TVXParsKernel* kernel;  // the word's: its element operation and block functions
    Operand x, y;
    int out;  // register
  };

  // Writes a run's number into the assignment's target and last->Result. The test costs less
  // than writing the result twice when there is no target, which stalls the next run's writes.
  void Write(double number) {
    if (assignTarget_) {
      assignTarget_->VarType = vtDouble;
      assignTarget_->Value = number;
    }
    result_->VarType = vtDouble;
    result_->Value = number;
  }
  // The root's EvalChecked in a program that checks the kinds first: the kinds read, and when
  // all are numbers the run's number (0 otherwise, with nothing run).
  static TVXScalarValue CheckThenEval(const TVXScalarNode& root);
  // Builds the code of the list from head to last; false when a node is not pure arithmetic.
  // rootSource becomes what the tree's root computes: the value assigned, the last node's, or
  // with jumpCommand the condition of last, a jump command.
  static bool BuildCode(TVXKernelProgram& program, TVXParsExpressionRec* head,
                        const TVXParsExpressionRec* last, bool jumpCommand, Operand& rootSource);
  void BuildScalarTree(const Operand& rootSource);
  // The unary form of a binary instruction whose right operand is a number constant, when its
  // word provides one (TVXParsKernel::WithRight); null otherwise.
  double (*ConstantRightForm(const Instruction& in) const)(double);
  // The node computing register reg, with its operands' nodes built first.
  const TVXScalarNode* ScalarNodeOf(int reg);
  // Fills to with where operand from comes from and returns how a node reads it.
  TVXKernelOp ScalarOperandOf(const Operand& from, TVXScalarOperand& to);
  bool RunVectorBlocks(std::size_t length);
  // Runs every instruction over one block; register resultReg writes to resultOut instead.
  void RunBlock(std::size_t offset, std::size_t count, int resultReg, double* resultOut);

  std::vector<Instruction> code_;
  // The numbers-only run: a tree over code_, evaluated from its root.
  std::vector<TVXScalarNode> nodes_;          // sized once, since nodes point at each other
  TVXScalarNode root_;                        // a copy of the root, read without a pointer
  std::vector<const TVXParsDouble*> inputs_;  // every value read, checked before a vector run
  // The kinds of the inputs that may stop being numbers (constants cannot): what a stretch and
  // CheckThenEval check.
  std::vector<const TVXPArsVarType*> guards_;
  bool checkFirst_ = false;  // RunNumbers checks the kinds before the run: an operation calls out
  TVXParsDouble* assignTarget_ = nullptr;
  Operand assignSource_;
  // Whether a jump command ends the line, and when it jumps.
  enum class JumpRule : std::uint8_t { kNone, kAlways, kNever, kWhenFalse };
  JumpRule jump_ = JumpRule::kNone;
  TVXParsDouble* result_ = nullptr;  // the last node's result
  bool vectorCapable_ = true;
  bool mayThrow_ = false;  // an operation can raise: a vector run writes its target last
  // Vector runs: the numbers of registers that hold one number for the whole run; per
  // register whether it does, and its block.
  std::vector<double> scalarRegs_;
  std::vector<char> regIsScalar_;
  std::vector<double> blocks_;
};

// Consecutive lines of a section that have programs, run on numbers as one: arithmetic lines
// and jump commands with arithmetic conditions. A single guard checks the values that the
// lines may read before they write them (a value a line writes is a number afterwards), then
// every line's program runs unguarded. A jump forward within the stretch that lands right after
// a jump command, as every forward jump of a paired section does, is followed inside it; any
// other jump ends it and is left to the section runner, so that a loop comes back to the runner
// on every turn.
class TVXKernelStretch {
 public:
  // lines[k] is the program of line first + k.
  TVXKernelStretch(int first, std::vector<TVXKernelProgram*> lines);

  // When every value the lines may read is a number, runs them and returns the result of the
  // last line run; otherwise returns null and changes nothing. jumps[line] (for line < jumpCount)
  // is where a jump command leads, negative for nowhere; a null jumps takes no jump. While it runs,
  // running is the line being run and previous the one run before it in the stretch (-1 for none);
  // afterwards running is the last line run: the stretch's last line, or a jump command whose
  // jump leads out of the stretch, which the caller takes.
  const TVXParsDouble* Run(const int* jumps, int jumpCount, int& running, int& previous) {
    if (jumpCommands_) return RunWithJumps(jumps, jumpCount, running, previous);
    if (!GuardsHold()) return nullptr;
    // The line run is kept in a register and handed out only when a line raises.
    TVXKernelProgram* const* const begin = lines_.data();
    TVXKernelProgram* const* at = begin;
    const auto count = static_cast<int>(lines_.size());
    try {
      for (TVXKernelProgram* const* stop = begin + count; at != stop; ++at) (*at)->RunUnguarded();
    } catch (...) {
      running = first_ + static_cast<int>(at - begin);
      previous = at != begin ? running - 1 : -1;
      throw;
    }
    running = first_ + count - 1;
    previous = -1;  // only asked for while the stretch runs
    return &at[-1]->Result();
  }

 private:
  bool GuardsHold() const { return KindsOf(guards_) == vtDouble; }
  const TVXParsDouble* RunWithJumps(const int* jumps, int jumpCount, int& running, int& previous);

  int first_;
  bool jumpCommands_ = false;  // a line is a jump command
  std::vector<TVXKernelProgram*> lines_;
  std::vector<const TVXPArsVarType*> guards_;
};

}  // namespace loom
