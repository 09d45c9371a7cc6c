// A compiled formula evaluates without heap allocation once its nodes have their buffers: this
// file counts every call of the global operator new while a flag is set.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "functions/Registry.h"
#include "engine/Sections.h"
#include "tests/engine/TestSupport.h"

namespace {
std::atomic<bool> gCounting{false};
std::atomic<long> gAllocations{0};

void* CountedAllocate(std::size_t size) {
  if (gCounting.load(std::memory_order_relaxed))
    gAllocations.fetch_add(1, std::memory_order_relaxed);
  return std::malloc(size == 0 ? 1 : size);
}
}  // namespace

// The replacement applies to the whole test binary; it only counts while gCounting is set.
// Its operator delete frees what its operator new took from malloc, which the compiler cannot
// see when it checks that allocation and release match.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
  if (void* p = CountedAllocate(size)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
  if (void* p = CountedAllocate(size)) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return CountedAllocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return CountedAllocate(size);
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete[](void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  std::free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  std::free(p);
}

namespace loom {
namespace {

// Counts the allocations of `times` evaluations of index after one warm-up evaluation.
long AllocationsOf(TVXExpressionEvaluatorBase& evaluator, int index, TVXParsDouble& result,
                   int times = 100) {
  evaluator.GetResults(index, result);
  gAllocations = 0;
  gCounting = true;
  for (int i = 0; i < times; ++i) evaluator.GetResults(index, result);
  gCounting = false;
  return gAllocations.load();
}

std::vector<double>* volatile gProbe = nullptr;

TEST(Allocation, TheCounterSeesAllocations) {
  gAllocations = 0;
  gCounting = true;
  gProbe = new std::vector<double>(100);
  gCounting = false;
  delete gProbe;
  EXPECT_GE(gAllocations.load(), 2);
}

TEST(Allocation, NumericFormulasAllocateNothingInSteadyState) {
  TVXExpressionEvaluator evaluator;
  for (const char* init : {"a := 1.5", "b := 2", "c := 3"})
    evaluator.GetResults(evaluator.AddExpression(init));
  struct Row {
    const char* formula;
    double value;
  };
  const Row rows[] = {
      {"a+b*c", 7.5},
      {"sin(a)*cos(b)+sqrt(c)", std::sin(1.5) * std::cos(2.0) + std::sqrt(3.0)},
      {"max(a, b) - min(b, c) + abs(-c) ^ 2", 9},
      {"a < b and not (c = 3)", 0},
      {"CondEval(a > 1, b, c)", 2},
      {"If(a > 1)", 0},
  };
  for (const Row& row : rows) {
    const int index = evaluator.AddExpression(row.formula);
    TVXParsDouble result;
    EXPECT_EQ(AllocationsOf(evaluator, index, result), 0) << row.formula;
    EXPECT_DOUBLE_EQ(result.Value, row.value) << row.formula;
  }
}

TEST(Allocation, AssignmentAllocatesNothingInSteadyState) {
  TVXExpressionEvaluator evaluator;
  const int index = evaluator.AddExpression("a := a + 1");
  TVXParsDouble result;
  EXPECT_EQ(AllocationsOf(evaluator, index, result), 0);
  EXPECT_EQ(testing::VariableValue(evaluator, "a"), 101.0);
  EXPECT_EQ(result.Value, 101.0);
}

TEST(Allocation, VectorFormulasReuseTheirBuffers) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble v;
  v.VarType = vtVector;
  for (int i = 0; i < 1000; ++i) v.Vector.push_back(i);
  evaluator.DefineVariable("v", &v, "", "");

  const int scaled = evaluator.AddExpression("v*2+1");
  TVXParsDouble result;
  EXPECT_EQ(AllocationsOf(evaluator, scaled, result), 0);
  ASSERT_EQ(result.Vector.size(), 1000u);
  EXPECT_EQ(result.Vector[999], 1999.0);

  const int assigned = evaluator.AddExpression("y := v*2");
  EXPECT_EQ(AllocationsOf(evaluator, assigned, result), 0);
  TVXParsExprWord* y = evaluator.Words().Find("y");
  ASSERT_NE(y, nullptr);
  ASSERT_EQ(y->AsPointer()->Vector.size(), 1000u);
  EXPECT_EQ(y->AsPointer()->Vector[10], 20.0);

  const int mixed = evaluator.AddExpression("sin(v) * v - v / 2");
  EXPECT_EQ(AllocationsOf(evaluator, mixed, result), 0);
  EXPECT_EQ(result.Vector.size(), 1000u);
}

TEST(Allocation, LoopingSectionAllocatesNothingInSteadyState) {
  TVXExpressionEvaluator evaluator;
  testing::AddScript(evaluator, {"i := 0", "s := 0", "While(i < 50)", "i := i + 1",
                                 "s := s + i * 2", "Wend", "s"});
  const TVXJumpTable jumps = PairJumps(evaluator);
  TVXParsDouble result;
  RunSection(evaluator, jumps, 0, evaluator.GetExpressionCount(), result);
  gAllocations = 0;
  gCounting = true;
  for (int k = 0; k < 10; ++k)
    RunSection(evaluator, jumps, 0, evaluator.GetExpressionCount(), result);
  gCounting = false;
  EXPECT_EQ(gAllocations.load(), 0);
  EXPECT_EQ(result.Value, 2550.0);
}

}  // namespace
}  // namespace loom
