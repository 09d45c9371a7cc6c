// A compiled formula, a section and a synchronous panel cycle run without heap allocation once
// their buffers are sized: this file counts every call of the global operator new while a flag
// is set.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "engine/Sections.h"
#include "functions/Registry.h"
#include "host/RecordingHost.h"
#include "panel/FormulaPanel.h"
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

// Counts the allocations of 100 runs of action after one warm-up run.
template <typename Action>
long AllocationsOf(Action action) {
  action();
  gAllocations = 0;
  gCounting = true;
  for (int i = 0; i < 100; ++i) action();
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

TEST(Allocation, FormulasAllocateNothingInSteadyState) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble v;
  v.VarType = vtVector;
  for (int i = 0; i < 1000; ++i) v.Vector.push_back(i);
  evaluator.DefineVariable("v", &v, "", "");
  Outcome(evaluator, "a := 1.5\nb := 2\nc := 3");
  const OutcomeRow rows[] = {
      {"a+b*c", "7.5"},
      {"sin(a-a)*cos(b)+sqrt(c+1)", "2"},
      {"max(a, b) - min(b, c) + abs(-c) ^ 2", "9"},
      {"a < b and not (c = 3)", "0"},
      {"CondEval(a > 1, b, c)", "2"},
      {"If(a > 1)", "0"},
      {"n := n + 1", "101"},  // 100 runs after the first
      {"v*2+1", nullptr},
      {"y := v*2", nullptr},
      {"sin(v) * v - v / 2", nullptr},
  };
  for (const OutcomeRow& row : rows) {
    const int index = evaluator.AddExpression(row.formula);
    TVXParsDouble result;
    EXPECT_EQ(AllocationsOf([&] { evaluator.GetResults(index, result); }), 0) << row.formula;
    if (row.outcome) {
      EXPECT_EQ(Shown(result), row.outcome) << row.formula;
    }
  }
  EXPECT_EQ(Outcome(evaluator, "VectorGetValue(y, 10) + VectorGetSize(y)"), "1020");
}

TEST(Allocation, LoopingSectionAllocatesNothingInSteadyState) {
  TVXExpressionEvaluator evaluator;
  AddScript(evaluator,
            {"i := 0", "s := 0", "While(i < 50)", "i := i + 1", "s := s + i * 2", "Wend", "s"});
  const TVXJumpTable jumps = PairJumps(evaluator);
  TVXParsDouble result;
  EXPECT_EQ(AllocationsOf([&] { RunSection(evaluator, jumps, 0, 7, result); }), 0);
  EXPECT_EQ(Shown(result), "2550");
}

// The recording host writes every call down as text, which allocates: its writing is left out of
// the count, the panel's own work is not.
class TUncountedRecordingHost : public TRecordingHost {
 public:
  void EventFire(int index, int eventClass, const std::string& text) override {
    Uncounted([&] { TRecordingHost::EventFire(index, eventClass, text); });
  }
  void EventFireAllPropertiesUpdated() override {
    Uncounted([&] { TRecordingHost::EventFireAllPropertiesUpdated(); });
  }
  void SetTargetProperty(const TControlItem& item, const TPropertyValue& value) override {
    Uncounted([&] { TRecordingHost::SetTargetProperty(item, value); });
  }
  void SendData(const TOutputBlock& block) override {
    Uncounted([&] { TRecordingHost::SendData(block); });
  }

 private:
  template <typename Call>
  static void Uncounted(Call call) {
    const bool counting = gCounting.exchange(false);
    call();
    gCounting = counting;
  }
};

TEST(Allocation, SynchronousPanelCycleAllocatesNothingInSteadyState) {
  using Lines = std::vector<std::string>;
  const struct {
    std::size_t samples;
    Lines calls;       // what the last cycle did before it sent channel Y
    const char* data;  // how that sending begins
  } rows[] = {
      {1, {"event 2 ''", "all properties updated", "set 7 2", "event 3 ''"}, "data 0 [ 2] t=0+1"},
      {1000, {"event 2 ''", "all properties updated", "event 3 ''"}, "data 0 [ 2, 2, 2, 2"},
  };
  for (const auto& row : rows) {
    TUncountedRecordingHost host;
    host.Controls = {{7}};
    host.Connected = {7};
    TKQVXFormulaPanel panel(host);
    TPanelSettings s;
    s.Expressions = {"y := x * 2 + 1", "If(n >= 0)", "n := n + 1", "EndIf", "y"};
    s.ExitStartIndex = static_cast<int>(s.Expressions.size());
    s.InputVariables = {"x"};
    s.ChannelOrigins = {"src.x"};
    s.EvaluateImmediately = true;
    s.OutputChannels = {{"Y", "y"}};
    panel.ReadProperties(WritePanelSettings(s));
    panel.LoadFinished();
    std::vector<double> samples(row.samples, 0.5);
    const std::vector<TChannelBlock> block = {{0, 1, samples.data(), samples.size()}};
    EXPECT_EQ(AllocationsOf([&] {
                host.Calls.clear();
                panel.DoOnNewData(block, nullptr, 0);
                panel.HandleExecute(true);
              }),
              0)
        << row.samples;
    EXPECT_EQ(panel.Evaluator().Words().Find("n")->AsPointer()->Value, 101.0);
    ASSERT_FALSE(host.Calls.empty());
    EXPECT_EQ(host.Calls.back().rfind(row.data, 0), 0u) << host.Calls.back();
    host.Calls.pop_back();
    EXPECT_EQ(host.Calls, row.calls);
  }
}

}  // namespace
}  // namespace loom
