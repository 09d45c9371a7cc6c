// The seam between function bodies and the world outside the evaluator.
//
// A few functions reach beyond the formula: the clock, the panel that runs the formula
// (UpdateOutputs, UpdateInputData), its serial port and the engine bridge. They ask the
// evaluator's host, an object that whoever embeds the evaluator (the panel, the command line, a
// test) supplies. The function library only declares the host, so it never depends on the panel,
// the serial port or the engine; an evaluator without a host runs on the do-nothing host below,
// whose clock is the system's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/Evaluator.h"

namespace loom {

// What a command left in the engine: its command-window output text, unchanged, or, when the
// command itself failed inside the engine, the engine's error text with Failed set.
struct TEngineReply {
  std::string Output;
  bool Failed = false;
};

// The engine bridge as formulas see it (MatlabCommand, MatlabPutVector, MatlabGetVector). An
// engine that cannot be reached raises an exception whose message reaches the formula's error
// handling.
class TFormulaEngine {
 public:
  virtual ~TFormulaEngine() = default;
  virtual TEngineReply ExecuteCommand(const std::string& command) = 0;
  // Puts values into the engine's workspace "base" as a real row vector.
  virtual void PutVector(const std::string& name, const TVXVect& values) = 0;
  // Reads the real part of the engine's variable into values, which holds as many elements as
  // are to be read.
  virtual void GetVector(const std::string& name, TVXVect& values) = 0;
};

// The number of columns that the display text of "size(name,2)" shows, by the rule formulas
// rely on: the value's line follows the first blank line; 0 for anything that is not a number.
int EngineColumnCount(std::string_view output);

class TFormulaHost {
 public:
  virtual ~TFormulaHost() = default;

  // --- clock ---
  // System time in 100-ns units since 1601-01-01 (tic, toc).
  virtual std::int64_t FileTimeNow();
  // Milliseconds of a monotonic clock, wrapping at 2^32 (GetTickCount).
  virtual std::uint32_t TickCount();
  // The local date and time as a day number since 1899-12-30 (Now).
  virtual double DateTimeNow();

  // --- the panel that runs the formula; without one these do nothing ---
  virtual void UpdateOutputs() {}
  virtual void UpdateInputData() {}

  // --- the panel's serial port; without an open port nothing is sent ---
  virtual void SerialWriteString(const std::string& /*bytes*/) {}

  // --- the engine bridge; null when there is none ---
  virtual TFormulaEngine* Engine() { return nullptr; }
};

// The evaluator that runs rec. A body called on its own, outside a compiled formula, runs in a
// stand-in evaluator of this thread with the default settings, no words and no host.
TVXExpressionEvaluatorBase& EvaluatorOf(const TVXParsExpressionRec* rec);

// The host of the evaluator that runs rec, or the do-nothing host when it has none.
TFormulaHost& HostOf(const TVXParsExpressionRec* rec);

// The engine of that host; raises "<function>: this function is not available in this build"
// when there is none.
TFormulaEngine& EngineOf(const TVXParsExpressionRec* rec, const char* function);

}  // namespace loom
