// The fast path of arithmetic formulas.
//
// Most formulas that measurement users run are arithmetic over numbers and vectors: a+b*c,
// sin(a)*cos(b)+sqrt(c), y := (a+b)*(c-d)/e. For such an expression the compiler builds, beside
// its linear list, a TVXKernelProgram: the same operations as straight-line code over doubles,
// with operands read in place. Before each evaluation the program checks the kinds of the values
// it reads; when they are all numbers it runs as scalar code, when they are numbers and vectors
// of one length it runs block by block over the vectors (one pass, loops the compiler
// vectorises), and otherwise the linear list runs as usual. Both paths compute exactly the same
// results: the element operations are the very functions the bodies use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/ParserClasses.h"

namespace loom {

struct TVXParsExpressionRec;

class TVXKernelProgram {
 public:
  // Builds the program of a linear list, or returns null when a node is not pure arithmetic.
  static std::unique_ptr<TVXKernelProgram> Build(TVXParsExpressionRec* head,
                                                 TVXParsExpressionRec* last);

  // The case of numbers only, tried first: when every value read is a number, runs the
  // program, writes the number into last->Result and returns true; otherwise changes nothing
  // and returns false.
  bool RunNumbers() { return numbers_(*this); }

  // The case of numbers and vectors of one length: runs block by block into last->Result's
  // vector (and the assignment's target) and returns true; false (nothing changed) when the
  // kinds of the values read do not allow it.
  bool RunVectors();

 private:
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

  // Scalar runs read and write doubles through pointers fixed when the program is built.
  struct ScalarInstruction {
    TVXKernelOp op;
    double (*unary)(double);
    double (*binary)(double, double);
    const double* x;
    const double* y;
    double* out;
  };

  template <TVXKernelOp Op>
  friend struct OneOperation;
  template <TVXKernelOp First, TVXKernelOp Second, bool FirstIsLeft>
  friend struct TwoOperations;
  friend struct GenericNumbers;

  void PrepareScalarCode();
  void SelectNumbersRunner();
  void RunScalar();
  bool RunVectorBlocks(std::size_t length);
  // Runs every instruction over one block; register resultReg writes to resultOut instead.
  void RunBlock(std::size_t offset, std::size_t count, int resultReg, double* resultOut);

  std::vector<Instruction> code_;
  std::vector<ScalarInstruction> scalarCode_;
  // The numbers-only runner: a specialised one for the commonest shapes, else the generic one.
  bool (*numbers_)(TVXKernelProgram&) = nullptr;
  // The operands of a specialised runner, in the order its shape reads them.
  const TVXParsDouble* fused_[3] = {nullptr, nullptr, nullptr};
  const double* scalarSource_ = nullptr;      // the assigned number in a scalar run
  std::vector<const TVXParsDouble*> inputs_;  // every value read, checked before each run
  TVXParsDouble* assignTarget_ = nullptr;
  Operand assignSource_;
  TVXParsDouble* result_ = nullptr;  // the last node's result
  bool vectorCapable_ = true;
  bool mayThrow_ = false;  // an operation can raise: a vector run writes its target last
  std::vector<double> scalarRegs_;
  // Vector runs: per register whether it holds one number for the whole run, and its block.
  std::vector<char> regIsScalar_;
  std::vector<double> blocks_;
};

}  // namespace loom
