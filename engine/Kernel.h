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
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/ParserClasses.h"

namespace loom {

struct TVXParsExpressionRec;

struct TVXScalarNode;

// An operand of a numbers-only node: one value read in place, two values that an arithmetic
// operation combines inline, or a child node.
struct TVXScalarOperand {
  const double* value[2] = {nullptr, nullptr};
  const TVXScalarNode* child = nullptr;
};

// One operation of a numbers-only run. Nodes return their number, so that the values between
// operations stay in machine registers; Eval is a function specialised for the operation and
// for where each operand comes from.
struct TVXScalarNode {
  double (*Eval)(const TVXScalarNode& node) = nullptr;
  TVXScalarOperand operand[2];
  double (*unary)(double) = nullptr;
  double (*binary)(double, double) = nullptr;
};

// The guard ORs the kinds of the values read: all numbers exactly when the result is 0.
static_assert(vtDouble == 0);

class TVXKernelProgram {
 public:
  // Builds the program of a linear list, or returns null when a node is not pure arithmetic.
  static std::unique_ptr<TVXKernelProgram> Build(TVXParsExpressionRec* head,
                                                 TVXParsExpressionRec* last);

  // The case of numbers only, tried first: when every value read is a number, runs the
  // program, writes the number into last->Result (and the assignment's target) and into
  // number, and returns true; otherwise changes nothing and returns false. Inline: a section
  // runs it once per line.
  bool RunNumbers(double& number) {
    // Four kinds are read without a loop; a missing input reads a number's kind.
    unsigned kinds = *guard_[0] | *guard_[1] | *guard_[2] | *guard_[3];
    for (const TVXPArsVarType* kind : moreGuards_) kinds |= *kind;
    if (kinds != vtDouble) return false;
    number = RunUnguarded();
    return true;
  }
  bool RunNumbers() {
    double number;
    return RunNumbers(number);
  }

  // RunNumbers without its guard: the caller knows that every value read is a number.
  double RunUnguarded() {
    const double number = root_->Eval(*root_);
    if (assignTarget_) {
      assignTarget_->VarType = vtDouble;
      assignTarget_->Value = number;
    }
    result_->VarType = vtDouble;
    result_->Value = number;
    return number;
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
    double (*unary)(double);
    double (*binary)(double, double);
    Operand x, y;
    int out;  // register
  };

  void BuildScalarTree();
  // The node computing register reg, with its operands' nodes built first.
  const TVXScalarNode* ScalarNodeOf(int reg);
  // Fills to with where operand from comes from and returns how a node reads it.
  TVXKernelOp ScalarOperandOf(const Operand& from, TVXScalarOperand& to);
  bool RunVectorBlocks(std::size_t length);
  // Runs every instruction over one block; register resultReg writes to resultOut instead.
  void RunBlock(std::size_t offset, std::size_t count, int resultReg, double* resultOut);

  std::vector<Instruction> code_;
  // The numbers-only run: a tree over code_, evaluated from its root.
  std::vector<TVXScalarNode> nodes_;  // sized once, since nodes point at each other
  const TVXScalarNode* root_ = nullptr;
  std::vector<const TVXParsDouble*> inputs_;  // every value read, checked before a vector run
  // The kinds of the inputs that may stop being numbers: the first four, then the others.
  static constexpr TVXPArsVarType kNumberKind = vtDouble;
  const TVXPArsVarType* guard_[4] = {&kNumberKind, &kNumberKind, &kNumberKind, &kNumberKind};
  std::vector<const TVXPArsVarType*> moreGuards_;
  int guardCount_ = 0;
  TVXParsDouble* assignTarget_ = nullptr;
  Operand assignSource_;
  TVXParsDouble* result_ = nullptr;  // the last node's result
  bool vectorCapable_ = true;
  bool mayThrow_ = false;  // an operation can raise: a vector run writes its target last
  // Vector runs: the numbers of registers that hold one number for the whole run; per
  // register whether it does, and its block.
  std::vector<double> scalarRegs_;
  std::vector<char> regIsScalar_;
  std::vector<double> blocks_;
};

// Consecutive arithmetic lines of a section, run on numbers as one: a single guard checks the
// values that the lines read before any of them writes them (a value a line writes is a number
// afterwards), then every line's program runs unguarded.
class TVXKernelStretch {
 public:
  explicit TVXKernelStretch(std::vector<TVXKernelProgram*> lines);

  int Count() const { return static_cast<int>(lines_.size()); }
  // When every value the lines read is a number, runs them in order and returns true; line
  // counts the lines started, so that a line that raises is known. Otherwise returns false
  // and changes nothing.
  bool Run(int& line) {
    unsigned kinds = 0;
    for (const TVXPArsVarType* kind : guards_) kinds |= *kind;
    if (kinds != vtDouble) return false;
    for (TVXKernelProgram* program : lines_) {
      ++line;
      program->RunUnguarded();
    }
    return true;
  }

 private:
  std::vector<TVXKernelProgram*> lines_;
  std::vector<const TVXPArsVarType*> guards_;
};

}  // namespace loom
