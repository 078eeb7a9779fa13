// engine/state.h: the engine's flags that nobody else touches; what the loop reads as well is in state/state.h.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kelvane {

// --- written by the engine's start-up and tear-down ------------------------------------------------------------------
// 1 from start-up until a scaling-only tear-down is complete.
inline constinit std::atomic<std::uint8_t> g_engineStarted = 0;
// 1 once a start came while g_engineStarted was 1; never cleared.
inline constinit std::atomic<std::uint8_t> g_startReentered = 0;

// --- written by the process creation watcher -------------------------------------------------------------------------
constexpr std::size_t trackedProcessCapacity = 10;  // ids past that are not stored, and the count stops there
inline constinit std::array<std::atomic<int>, trackedProcessCapacity> g_trackedProcessIds = {};

}  // namespace kelvane
