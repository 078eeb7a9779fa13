// tests/simulator/replay_rows.h: whole scenarios through the replay program's own code.
#pragma once

#include <string>
#include <vector>

namespace kelvane::tests {

// Reads a scenario from its rows (without the header), runs the scaling loop on it, and returns the trace's rows
// (without the header). Once per process.
std::vector<std::string> replayRows(const std::string& scenarioRows);

}  // namespace kelvane::tests
