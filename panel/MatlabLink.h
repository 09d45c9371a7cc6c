// The engine bridge as the formulas of a panel (or of the command line) reach it: the formula
// host's engine, served by the process-wide bridge.
#pragma once

#include "functions/FormulaHost.h"
#include "matlab/MatlabInterface.h"

namespace loom {

// Hands the engine functions of formulas to a bridge. The bridge's errors become the engine's
// exception, so they reach the formula's error handling with their text.
class TMatlabFormulaEngine : public TFormulaEngine {
 public:
  explicit TMatlabFormulaEngine(TMatlabBridge& bridge) : bridge_(bridge) {}
  TEngineReply ExecuteCommand(const std::string& command) override;
  void PutVector(const std::string& name, const TVXVect& values) override;
  void GetVector(const std::string& name, TVXVect& values) override;

 private:
  TMatlabBridge& bridge_;
};

}  // namespace loom
