// The cost of one call of loom.evaluate on a scalar, from an embedded interpreter, against the
// same formula in C++: compiled once and evaluated, and compiled and evaluated every time (the
// work evaluate does per call). bench/scale_ratios.py prints the ratios.
#include <benchmark/benchmark.h>
#include <pybind11/embed.h>

#include "functions/Registry.h"

namespace py = pybind11;

namespace {

using namespace loom;

constexpr const char* kFormula = "x * 2 + 1";

void BM_PythonEvaluate(benchmark::State& state) {
  static py::scoped_interpreter interpreter;
  py::module_::import("sys").attr("path").attr("insert")(0, LOOM_PYTHON_PATH);
  const py::object evaluate = py::module_::import("loom").attr("evaluate");
  const py::str formula(kFormula);
  const py::float_ x(3.0);
  for (auto _ : state) benchmark::DoNotOptimize(evaluate(formula, py::arg("x") = x));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PythonEvaluate)->Name("scalar/python_evaluate");

void BM_CppCompileEvaluate(benchmark::State& state) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble x = TVXParsDouble::Number(3.0);
  evaluator.DefineVariable("x", &x, "", "");
  for (auto _ : state) {
    benchmark::DoNotOptimize(evaluator.GetResults(evaluator.AddExpression(kFormula)));
    evaluator.ClearExpressions();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CppCompileEvaluate)->Name("scalar/cpp_compile_evaluate");

void BM_CppEvaluate(benchmark::State& state) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble x = TVXParsDouble::Number(3.0);
  evaluator.DefineVariable("x", &x, "", "");
  const int index = evaluator.AddExpression(kFormula);
  TVXParsDouble result;
  for (auto _ : state) {
    evaluator.GetResults(index, result);
    benchmark::DoNotOptimize(result.Value);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CppEvaluate)->Name("scalar/cpp_evaluate");

}  // namespace

BENCHMARK_MAIN();
