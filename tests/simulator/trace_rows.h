// tests/simulator/trace_rows.h: replays whole scenarios, and picks what a test is about out of a trace's rows
// ("TIME,KIND,NAME,VALUE,STATUS").
#pragma once

#include "simulator/replay/replay.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kelvane::tests {

using Rows = std::vector<std::string>;

// Runs the scaling loop on a scenario, whose rows are given without the header, by the replay program's own code.
// Returns the trace's rows without the header. Once per process.
Rows replayRows(const std::string& scenarioRows, simulator::ReplayEnd* end = nullptr);

// The rows that contain `text`.
Rows rowsWith(const Rows& rows, const std::string& text);

// The rows written at `timeMs`.
Rows rowsAt(const Rows& rows, std::uint64_t timeMs);

// "TIME VALUE" of each preference ceiling, and of each PL1, that was written.
Rows ceilings(const Rows& rows);
Rows powerLimits(const Rows& rows);

// "TIME MS" of each sleep.
Rows sleeps(const Rows& rows);

// "TIME LEVEL TEXT" of each message; with `text`: of those that contain it.
Rows messages(const Rows& rows, const std::string& text = "");

// "TIME NAME TYPE STATUS" of each call; the type only where there is one.
Rows calls(const Rows& rows);

}  // namespace kelvane::tests
