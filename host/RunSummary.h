// What `loom run` shows of a run: the progress line on a terminal while it goes on, and the
// summary at the end, one block per panel (cycles, cycle times against the block period,
// errors by text, events by name) with a warning for a panel that cannot keep up with real
// time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/ReferenceHost.h"

namespace loom {

// The summary text, lines ending in "\n".
std::string FormatRunSummary(const TRunReport& report, const std::string& worksheet);

// The samples a run delivered, read back from the first line of its summary text; 0 when the
// text holds no summary. `loom batch` learns its children's figures this way.
std::uint64_t RunSummarySamples(std::string_view summary);

// The warnings of the cycle-time budget: a panel whose median cycle takes longer than its block
// period cannot keep up with real time; one whose 99th percentile does falls behind now and
// then.
std::vector<std::string> CycleBudgetWarnings(const TPanelReport& panel);

// One progress line without line break, at most width characters: a bar when the length of the
// data is known, blocks, samples per second and the estimated time left.
std::string FormatProgressLine(const TRunProgress& progress, int width);

// A duration in milliseconds with three significant digits ("0.0412 ms", "12.3 ms").
std::string FormatMilliseconds(double milliseconds);

}  // namespace loom
