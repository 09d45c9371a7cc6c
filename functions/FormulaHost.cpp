#include "functions/FormulaHost.h"

#include <time.h>

#include "engine/Messages.h"
#include "functions/BodyHelpers.h"

namespace loom {

namespace {

// 100-ns intervals between 1601-01-01 and 1970-01-01.
constexpr std::int64_t kFileTimeUnixEpoch = 116444736000000000;

timespec ClockNow(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now;
}

}  // namespace

std::int64_t TFormulaHost::FileTimeNow() {
  const timespec now = ClockNow(CLOCK_REALTIME);
  return kFileTimeUnixEpoch + static_cast<std::int64_t>(now.tv_sec) * 10000000 + now.tv_nsec / 100;
}

std::uint32_t TFormulaHost::TickCount() {
  const timespec now = ClockNow(CLOCK_MONOTONIC);
  const auto ms = static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                  static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
  return static_cast<std::uint32_t>(ms);
}

// The local date and time to the millisecond.
double TFormulaHost::DateTimeNow() {
  const timespec now = ClockNow(CLOCK_REALTIME);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  const double seconds = local.tm_hour * 3600.0 + local.tm_min * 60.0 + local.tm_sec +
                         static_cast<double>(now.tv_nsec / 1000000) / 1000.0;
  return EncodeDayNumber(local.tm_year + 1900, static_cast<unsigned>(local.tm_mon + 1),
                         static_cast<unsigned>(local.tm_mday), seconds);
}

TVXExpressionEvaluatorBase& EvaluatorOf(const TVXParsExpressionRec* rec) {
  if (rec->Owner != nullptr) return *rec->Owner;
  struct TStandIn : TVXExpressionEvaluatorBase {
    void FillExpressList() override {}
  };
  thread_local TStandIn standIn;  // per thread: the bodies may write its events and tic time
  return standIn;
}

TFormulaHost& HostOf(const TVXParsExpressionRec* rec) {
  static TFormulaHost doNothing;  // stateless: shared by every thread
  TFormulaHost* host = EvaluatorOf(rec).Host;
  return host != nullptr ? *host : doNothing;
}

TFormulaEngine& EngineOf(const TVXParsExpressionRec* rec, const char* function) {
  TFormulaEngine* engine = HostOf(rec).Engine();
  if (engine == nullptr) throw EVXParserException(FormatMessage(rsNotAvailable, {function}));
  return *engine;
}

}  // namespace loom
