// Loom's evaluator measured side by side with muParser, ExprTk and hand-written C++ in one
// process: scalar evaluation, vector evaluation per element, compilation, and heap allocations
// per evaluation. bench/ratios.py turns one run (--benchmark_format=json) into the ratio table.
//
// Benchmark names are "<family>/<case>/<engine>", engine one of loom, muparser, exprtk, native.
// The ExprTk rows exist when the build found ExprTk's header (LOOM_HAVE_EXPRTK).
#include <benchmark/benchmark.h>
#include <muParser.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/Evaluator.h"
#include "engine/Sections.h"
#include "functions/Registry.h"
#ifdef LOOM_HAVE_EXPRTK
#include "ExprtkFormula.h"
#endif

namespace loom::bench {
extern std::atomic<long> gAllocations;
}

namespace {

using loom::TVXExpressionEvaluator;
using loom::TVXParsDouble;

constexpr double kA = 1.25, kB = 2.5, kC = 0.75, kD = 0.5, kE = 3.0;

// Reports the heap allocations of the timed loop per iteration.
struct AllocationCounter {
  explicit AllocationCounter(benchmark::State& s)
      : state(s), start(loom::bench::gAllocations.load()) {}
  ~AllocationCounter() {
    const double per = state.iterations() == 0
                           ? 0.0
                           : static_cast<double>(loom::bench::gAllocations.load() - start) /
                                 static_cast<double>(state.iterations());
    state.counters["allocs"] = per;
  }
  benchmark::State& state;
  long start;
};

// ---- scalar ----------------------------------------------------------------------------

struct ScalarVars {
  double a = kA, b = kB, c = kC, d = kD, e = kE;
};

struct ScalarCase {
  const char* name;
  const char* loom;      // one expression, or several lines for a section
  const char* muparser;  // the same computation in muParser's syntax
  const char* exprtk;    // and in ExprTk's
  double (*native)(ScalarVars&);
};

__attribute__((noinline)) double NativeAbc(ScalarVars& v) {
  return v.a + v.b * v.c;
}
__attribute__((noinline)) double NativeTrig(ScalarVars& v) {
  return std::sin(v.a) * std::cos(v.b) + std::sqrt(v.c);
}
__attribute__((noinline)) double NativeRatio(ScalarVars& v) {
  return (v.a + v.b) * (v.c - v.d) / v.e;
}
__attribute__((noinline)) double NativePower(ScalarVars& v) {
  return (v.a * v.a / std::sin(2 * M_PI / v.b)) - v.a / 2;
}
__attribute__((noinline)) double NativeIncrement(ScalarVars& v) {
  return v.a = v.a + 1;
}
__attribute__((noinline)) double NativeSection(ScalarVars& v) {
  double x = v.a + 1;
  double y = x > 2 ? x * 2 : x / 2;
  double z = y + v.b;
  double w = z * v.c;
  double u = w - v.d;
  return u / v.e;
}

// Ten assignments, each line one formula of the section: what the runner adds per line.
__attribute__((noinline)) double NativeAssignments(ScalarVars& v) {
  double x = v.a + 1;
  double y = x * 2;
  double z = y + v.b;
  double w = z * v.c;
  double u = w - v.d;
  x = u / v.e;
  y = x + v.a;
  z = y * v.b;
  w = z - v.c;
  u = w / v.e;
  return u;
}

constexpr const char* kAssignments =
    "x := a + 1\n"
    "y := x * 2\n"
    "z := y + b\n"
    "w := z * c\n"
    "u := w - d\n"
    "x := u / e\n"
    "y := x + a\n"
    "z := y * b\n"
    "w := z - c\n"
    "u := w / e";

constexpr const char* kSection =
    "x := a + 1\n"
    "If(x > 2)\n"
    "y := x * 2\n"
    "Else\n"
    "y := x / 2\n"
    "EndIf\n"
    "z := y + b\n"
    "w := z * c\n"
    "u := w - d\n"
    "u / e";

// The section in ExprTk's syntax, line for line: one multi-statement expression.
constexpr const char* kExprtkSection =
    "x := a + 1;\n"
    "if (x > 2) {\n"
    "  y := x * 2;\n"
    "} else {\n"
    "  y := x / 2;\n"
    "};\n"
    "z := y + b;\n"
    "w := z * c;\n"
    "u := w - d;\n"
    "u / e";

const ScalarCase kScalarCases[] = {
    {"a+b*c", "a+b*c", "a+b*c", "a+b*c", NativeAbc},
    {"sin(a)*cos(b)+sqrt(c)", "sin(a)*cos(b)+sqrt(c)", "sin(a)*cos(b)+sqrt(c)",
     "sin(a)*cos(b)+sqrt(c)", NativeTrig},
    {"(a+b)*(c-d)/e", "(a+b)*(c-d)/e", "(a+b)*(c-d)/e", "(a+b)*(c-d)/e", NativeRatio},
    {"(a^2/sin(2*pi/b))-a/2", "(a^2/sin(2*pi/b))-a/2", "(a^2/sin(2*_pi/b))-a/2",
     "(a^2/sin(2*pi/b))-a/2", NativePower},
    {"a:=a+1", "a := a + 1", "a = a + 1", "a := a + 1", NativeIncrement},
    {"section10", kSection,
     "x = a + 1, y = x > 2 ? x * 2 : x / 2, z = y + b, w = z * c, u = w - d, u / e", kExprtkSection,
     NativeSection},
    {"assign10", kAssignments,
     "x = a + 1, y = x * 2, z = y + b, w = z * c, u = w - d, x = u / e, y = x + a, z = y * b, "
     "w = z - c, u = w / e",
     "x := a + 1; y := x * 2; z := y + b; w := z * c; u := w - d; x := u / e; y := x + a; "
     "z := y * b; w := z - c; u := w / e",
     NativeAssignments},
};

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t end = text.find('\n', start);
    lines.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return lines;
}

// An evaluator whose input variables are bound to the caller's values, as a panel binds them.
struct LoomScalar {
  TVXParsDouble a = TVXParsDouble::Number(kA), b = TVXParsDouble::Number(kB),
                c = TVXParsDouble::Number(kC), d = TVXParsDouble::Number(kD),
                e = TVXParsDouble::Number(kE);
  TVXExpressionEvaluator ev;
  LoomScalar() {
    ev.DefineVariable("a", &a, "", "");
    ev.DefineVariable("b", &b, "", "");
    ev.DefineVariable("c", &c, "", "");
    ev.DefineVariable("d", &d, "", "");
    ev.DefineVariable("e", &e, "", "");
  }
};

void LoomScalarBench(benchmark::State& state, const ScalarCase& c) {
  LoomScalar loom;
  const std::vector<std::string> lines = Lines(c.loom);
  TVXParsDouble result;
  if (lines.size() == 1) {
    const int index = loom.ev.AddExpression(lines[0]);
    loom.ev.GetResults(index, result);
    AllocationCounter allocations(state);
    for (auto _ : state) {
      loom.ev.GetResults(index, result);
      benchmark::DoNotOptimize(result.Value);
    }
  } else {
    for (const std::string& line : lines) loom.ev.AddExpression(line);
    const loom::TVXJumpTable jumps = loom::PairJumps(loom.ev);
    const int count = loom.ev.GetExpressionCount();
    loom::RunSection(loom.ev, jumps, 0, count, result);
    AllocationCounter allocations(state);
    for (auto _ : state) {
      loom::RunSection(loom.ev, jumps, 0, count, result);
      benchmark::DoNotOptimize(result.Value);
    }
  }
}

// Binds the inputs a to e of the scalar cases to a muParser parser.
void BindInputs(mu::Parser& parser, ScalarVars& v) {
  parser.DefineVar("a", &v.a);
  parser.DefineVar("b", &v.b);
  parser.DefineVar("c", &v.c);
  parser.DefineVar("d", &v.d);
  parser.DefineVar("e", &v.e);
}

void MuparserScalarBench(benchmark::State& state, const ScalarCase& c) {
  ScalarVars v;
  double x = 0, y = 0, z = 0, w = 0, u = 0;
  mu::Parser parser;
  BindInputs(parser, v);
  parser.DefineVar("x", &x);
  parser.DefineVar("y", &y);
  parser.DefineVar("z", &z);
  parser.DefineVar("w", &w);
  parser.DefineVar("u", &u);
  parser.SetExpr(c.muparser);
  parser.Eval();
  AllocationCounter allocations(state);
  for (auto _ : state) benchmark::DoNotOptimize(parser.Eval());
}

void NativeScalarBench(benchmark::State& state, const ScalarCase& c) {
  ScalarVars v;
  AllocationCounter allocations(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(&v);
    benchmark::DoNotOptimize(c.native(v));
  }
}

// ---- vectors ---------------------------------------------------------------------------

struct VectorCase {
  const char* name;
  const char* loom;
  const char* muparser;
  const char* exprtk;  // ExprTk applies the same text element-wise to vectors
  void (*native)(const double* a, const double* b, const double* c, const double* d,
                 const double* e, double* out, std::size_t n);
};

__attribute__((noinline)) void NativeAbcLoop(const double* a, const double* b, const double* c,
                                             const double*, const double*, double* out,
                                             std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) out[i] = a[i] + b[i] * c[i];
}
__attribute__((noinline)) void NativeRatioLoop(const double* a, const double* b, const double* c,
                                               const double* d, const double* e, double* out,
                                               std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) out[i] = (a[i] + b[i]) * (c[i] - d[i]) / e[i];
}
__attribute__((noinline)) void NativeTrigLoop(const double* a, const double* b, const double* c,
                                              const double*, const double*, double* out,
                                              std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) out[i] = std::sin(a[i]) * std::cos(b[i]) + std::sqrt(c[i]);
}

const VectorCase kVectorCases[] = {
    {"a+b*c", "a+b*c", "a+b*c", "a+b*c", NativeAbcLoop},
    {"(a+b)*(c-d)/e", "(a+b)*(c-d)/e", "(a+b)*(c-d)/e", "(a+b)*(c-d)/e", NativeRatioLoop},
    {"sin(a)*cos(b)+sqrt(c)", "sin(a)*cos(b)+sqrt(c)", "sin(a)*cos(b)+sqrt(c)",
     "sin(a)*cos(b)+sqrt(c)", NativeTrigLoop},
    {"y:=a+b*c", "y := a+b*c", "y = a+b*c", "y := a+b*c", NativeAbcLoop},
};

struct VectorData {
  explicit VectorData(std::size_t n) : a(n), b(n), c(n), d(n), e(n), y(n), out(n) {
    for (std::size_t i = 0; i < n; ++i) {
      a[i] = kA + 0.001 * static_cast<double>(i % 1000);
      b[i] = kB - 0.0005 * static_cast<double>(i % 700);
      c[i] = kC + 0.0002 * static_cast<double>(i % 300);
      d[i] = kD;
      e[i] = kE + 0.001 * static_cast<double>(i % 50);
    }
  }
  std::vector<double> a, b, c, d, e, y, out;
};

void LoomVectorBench(benchmark::State& state, const VectorCase& c) {
  const auto n = static_cast<std::size_t>(state.range(0));
  VectorData data(n);
  TVXParsDouble a = TVXParsDouble::FromVector(data.a), b = TVXParsDouble::FromVector(data.b),
                cv = TVXParsDouble::FromVector(data.c), d = TVXParsDouble::FromVector(data.d),
                e = TVXParsDouble::FromVector(data.e);
  TVXExpressionEvaluator ev;
  ev.DefineVariable("a", &a, "", "");
  ev.DefineVariable("b", &b, "", "");
  ev.DefineVariable("c", &cv, "", "");
  ev.DefineVariable("d", &d, "", "");
  ev.DefineVariable("e", &e, "", "");
  // The result is read in place (GetResultRef), as the section runner reads it.
  const int index = ev.AddExpression(c.loom);
  ev.GetResultRef(index);
  AllocationCounter allocations(state);
  for (auto _ : state) benchmark::DoNotOptimize(ev.GetResultRef(index).Vector.data());
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

void MuparserVectorBench(benchmark::State& state, const VectorCase& c) {
  const auto n = static_cast<std::size_t>(state.range(0));
  VectorData data(n);
  mu::Parser parser;
  parser.DefineVar("a", data.a.data());
  parser.DefineVar("b", data.b.data());
  parser.DefineVar("c", data.c.data());
  parser.DefineVar("d", data.d.data());
  parser.DefineVar("e", data.e.data());
  parser.DefineVar("y", data.y.data());
  parser.SetExpr(c.muparser);
  parser.Eval(data.out.data(), static_cast<int>(n));
  AllocationCounter allocations(state);
  for (auto _ : state) {
    parser.Eval(data.out.data(), static_cast<int>(n));
    benchmark::DoNotOptimize(data.out.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

void NativeVectorBench(benchmark::State& state, const VectorCase& c) {
  const auto n = static_cast<std::size_t>(state.range(0));
  VectorData data(n);
  AllocationCounter allocations(state);
  for (auto _ : state) {
    c.native(data.a.data(), data.b.data(), data.c.data(), data.d.data(), data.e.data(),
             data.out.data(), n);
    benchmark::DoNotOptimize(data.out.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

// ---- compilation -----------------------------------------------------------------------

// A 400-character formula of the kind measurement users write, valid in both syntaxes.
std::string LongFormula() {
  const char* terms[] = {"a*1.5",    "b/2.25",  "sin(a)*cos(b)", "sqrt(c+d)", "(a+b)*(c-d)/e",
                         "abs(a-b)", "exp(-c)", "max(a,b)",      "min(c,d)",  "a*b*c"};
  std::string text;
  for (int i = 0; text.size() < 400; ++i) {
    if (!text.empty()) text += (i % 3 == 0) ? "-" : "+";
    text += terms[i % 10];
  }
  return text;
}

void LoomCompileBench(benchmark::State& state, std::string text) {
  LoomScalar loom;
  int added = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(loom.ev.AddExpression(text));
    if (++added == 4096) {
      state.PauseTiming();
      loom.ev.ClearExpressions();
      added = 0;
      state.ResumeTiming();
    }
  }
}

void MuparserCompileBench(benchmark::State& state, std::string text) {
  ScalarVars v;
  mu::Parser parser;
  BindInputs(parser, v);
  for (auto _ : state) {
    parser.SetExpr(text);
    benchmark::DoNotOptimize(parser.Eval());
  }
}

// ---- ExprTk ----------------------------------------------------------------------------

#ifdef LOOM_HAVE_EXPRTK
using loom::bench::ExprtkFormula;

// True when ExprTk's value agrees with the hand-written code's to rounding; a case whose
// translation computes something else must not be timed.
bool Agrees(double got, double want) {
  return std::abs(got - want) <= 1e-12 * std::max(1.0, std::abs(want));
}

// The message for a value that does not agree, with every digit that tells the two apart.
std::string Disagreement(double got, double want, const std::string& where) {
  char text[96];
  std::snprintf(text, sizeof text, "ExprTk gives %.17g%s, expected %.17g", got, where.c_str(),
                want);
  return text;
}

// Binds the scalar inputs a to e and the section's variables x to u, as the muParser rows do.
bool BindExprtkScalars(ExprtkFormula& formula, ScalarVars& v, double (&locals)[5]) {
  const char* localNames[] = {"x", "y", "z", "w", "u"};
  bool ok = formula.BindScalar("a", v.a) && formula.BindScalar("b", v.b) &&
            formula.BindScalar("c", v.c) && formula.BindScalar("d", v.d) &&
            formula.BindScalar("e", v.e);
  for (int i = 0; ok && i < 5; ++i) ok = formula.BindScalar(localNames[i], locals[i]);
  return ok;
}

// ns per value() of a compiled expression over bound doubles, once checked against the
// hand-written code.
void ExprtkScalarBench(benchmark::State& state, const ScalarCase& c) {
  ScalarVars v;
  double locals[5] = {};
  ExprtkFormula formula;
  if (!BindExprtkScalars(formula, v, locals) || !formula.Compile(c.exprtk)) {
    state.SkipWithError(formula.Error().c_str());
    return;
  }
  ScalarVars expectedVars;
  const double want = c.native(expectedVars), got = formula.Evaluate();
  if (!Agrees(got, want)) {
    state.SkipWithError(Disagreement(got, want, "").c_str());
    return;
  }
  AllocationCounter allocations(state);
  for (auto _ : state) benchmark::DoNotOptimize(formula.Evaluate());
}

// ExprTk's own vector processing: the inputs are bound with add_vector and the formula applies
// element-wise, each operation one unrolled loop into the node's own buffer, which is where the
// result of a bare formula stays (as Loom's stays in its evaluator). A loop in C++ over the
// scalar expression would pay a whole evaluation per element.
bool BindExprtkVectors(ExprtkFormula& formula, VectorData& data) {
  const std::size_t n = data.a.size();
  return formula.BindVector("a", data.a.data(), n) && formula.BindVector("b", data.b.data(), n) &&
         formula.BindVector("c", data.c.data(), n) && formula.BindVector("d", data.d.data(), n) &&
         formula.BindVector("e", data.e.data(), n) && formula.BindVector("y", data.y.data(), n) &&
         formula.BindVector("out", data.out.data(), n);
}

// Empty when every element ExprTk computes for `c` agrees with the hand-written loop, else why
// not. A bare formula's buffer is out of reach, so a second formula assigns it to `out`.
std::string ExprtkVectorMismatch(const VectorCase& c, VectorData& data, ExprtkFormula& timed) {
  const std::size_t n = data.a.size();
  std::vector<double> want(n);
  c.native(data.a.data(), data.b.data(), data.c.data(), data.d.data(), data.e.data(), want.data(),
           n);
  const bool assigns = std::string(c.loom).find(":=") != std::string::npos;
  ExprtkFormula check;
  if (assigns) {
    timed.Evaluate();
  } else if (!BindExprtkVectors(check, data) ||
             !check.Compile(std::string("out := (") + c.exprtk + ")")) {
    return check.Error();
  } else {
    check.Evaluate();
  }
  const std::vector<double>& got = assigns ? data.y : data.out;
  for (std::size_t i = 0; i < n; ++i)
    if (!Agrees(got[i], want[i]))
      return Disagreement(got[i], want[i], " at element " + std::to_string(i));
  return "";
}

// ns per element of ExprTk's vector evaluation, once checked element by element.
void ExprtkVectorBench(benchmark::State& state, const VectorCase& c) {
  const auto n = static_cast<std::size_t>(state.range(0));
  VectorData data(n);
  ExprtkFormula formula;
  if (!BindExprtkVectors(formula, data) || !formula.Compile(c.exprtk)) {
    state.SkipWithError(formula.Error().c_str());
    return;
  }
  if (const std::string mismatch = ExprtkVectorMismatch(c, data, formula); !mismatch.empty()) {
    state.SkipWithError(mismatch.c_str());
    return;
  }
  AllocationCounter allocations(state);
  for (auto _ : state) benchmark::DoNotOptimize(formula.Evaluate());
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

// ns per compile() of the text into the same expression object, replacing its previous tree.
void ExprtkCompileBench(benchmark::State& state, std::string text) {
  ScalarVars v;
  double locals[5] = {};
  ExprtkFormula formula;
  if (!BindExprtkScalars(formula, v, locals) || !formula.Compile(text)) {
    state.SkipWithError(formula.Error().c_str());
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(formula.Compile(text));
}
#endif

void RegisterAll() {
  for (const ScalarCase& c : kScalarCases) {
    const std::string base = std::string("scalar/") + c.name;
    benchmark::RegisterBenchmark((base + "/loom").c_str(), LoomScalarBench, c);
    benchmark::RegisterBenchmark((base + "/muparser").c_str(), MuparserScalarBench, c);
#ifdef LOOM_HAVE_EXPRTK
    benchmark::RegisterBenchmark((base + "/exprtk").c_str(), ExprtkScalarBench, c);
#endif
    benchmark::RegisterBenchmark((base + "/native").c_str(), NativeScalarBench, c);
  }
  for (const VectorCase& c : kVectorCases) {
    for (int n : {4096, 1000000}) {
      const std::string base = std::string("vector") + std::to_string(n) + "/" + c.name;
      benchmark::RegisterBenchmark((base + "/loom").c_str(), LoomVectorBench, c)->Arg(n);
      benchmark::RegisterBenchmark((base + "/muparser").c_str(), MuparserVectorBench, c)->Arg(n);
#ifdef LOOM_HAVE_EXPRTK
      benchmark::RegisterBenchmark((base + "/exprtk").c_str(), ExprtkVectorBench, c)->Arg(n);
#endif
      benchmark::RegisterBenchmark((base + "/native").c_str(), NativeVectorBench, c)->Arg(n);
    }
  }
  std::vector<std::pair<std::string, std::string>> compiled;
  for (const ScalarCase& c : kScalarCases)
    if (std::string(c.loom).find('\n') == std::string::npos) compiled.emplace_back(c.name, c.loom);
  compiled.emplace_back("formula400", LongFormula());
  for (const auto& [name, text] : compiled) {
    const std::string base = "compile/" + name;
    benchmark::RegisterBenchmark((base + "/loom").c_str(), LoomCompileBench, text);
    std::string mu = text;
    if (mu.find(":=") != std::string::npos) mu.replace(mu.find(":="), 2, "=");
    if (mu.find("pi") != std::string::npos) mu.replace(mu.find("pi"), 2, "_pi");
    benchmark::RegisterBenchmark((base + "/muparser").c_str(), MuparserCompileBench, mu);
#ifdef LOOM_HAVE_EXPRTK
    benchmark::RegisterBenchmark((base + "/exprtk").c_str(), ExprtkCompileBench, text);
#endif
  }
}

}  // namespace

int main(int argc, char** argv) {
  RegisterAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
