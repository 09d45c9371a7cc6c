#include "panel/MatlabLink.h"

namespace loom {

namespace {

template <class TCall>
auto Translated(TCall&& call) {
  try {
    return call();
  } catch (const EMatlabError& error) {
    throw EVXParserException(error.what());
  }
}

}  // namespace

TEngineReply TMatlabFormulaEngine::ExecuteCommand(const std::string& command) {
  return Translated([&] {
    TEngineReply reply;
    reply.Output = bridge_.ExecuteCommand(command, &reply.Failed);
    return reply;
  });
}

void TMatlabFormulaEngine::PutVector(const std::string& name, const TVXVect& values) {
  Translated([&] { bridge_.PutFullMatrix(name, "base", values, {}); });
}

void TMatlabFormulaEngine::GetVector(const std::string& name, TVXVect& values) {
  Translated([&] { bridge_.GetFullMatrix(name, "base", values, {}); });
}

}  // namespace loom
