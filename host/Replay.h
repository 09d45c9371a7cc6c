// Replay tests: a recorded run (`loom run ... --record DIR`: every panel's output channels as
// PANEL.csv and the event log events.jsonl) compared with a new one. Numbers may differ within
// a tolerance, relative to the larger of the two magnitudes and at least 1 (so near zero it is
// absolute); NaN equals NaN; the event log must match line for line.
#pragma once

#include <string>
#include <vector>

namespace loom {

// The differences between the recording in expectedDir and the one in actualDir, readable
// lines naming the file, row and column; at most maxPerFile per file. Empty when they match.
std::vector<std::string> CompareRecordings(const std::string& expectedDir,
                                           const std::string& actualDir, double tolerance,
                                           std::size_t maxPerFile = 10);

// Whether two numbers agree within tolerance as above.
bool WithinTolerance(double expected, double actual, double tolerance);

}  // namespace loom
