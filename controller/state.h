// controller/state.h: the scaling loop's own variables, and the constants that more than one of its phases works by.
//
// Power is in mW, preference on 0..10000 (10000: unrestricted). Variables keep their values when scaling stops and
// starts again; nothing resets them but the code that names them. What other folders touch as well is in state/state.h.
// Log lines use these names.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

namespace kelvane {

// --- constants -------------------------------------------------------------------------------------------------------
constexpr int startPL1Mw = 37000;  // written once before the working limit
constexpr int defaultPL1Mw = 17000;
constexpr int defaultPreference = 1200;
constexpr int fullPreference = 10000;
constexpr int highPrefMax = 5000;  // a ceiling above it comes down in the largest steps
constexpr int lowPrefMax = 2000;   // one above this in half of them, one below hardly at all

constexpr int probeSamples = 10;
constexpr std::uint32_t probeSleepMs = 300;           // ten samples make the three-second step
constexpr std::uint32_t probeSleepMsAfterWake = 200;  // look sooner after start, idle or a burst

// A threshold that differs with the power source.
struct BySource {
    int mains;
    int battery;
};

constexpr BySource idleEntryMw = { 1100, 1300 };  // at or below: may enter Active Idle; above: leaves it

// --- written by the scaling loop alone -------------------------------------------------------------------------------
inline constinit int sessionRetry = 0;  // connect attempts after a failure; never reset

// The machine.
inline constinit int pkgPower = -1;                 // mW, average of the last step's probe; -1 before the first
inline constinit int pkgPowerPrev = 0;              // mW, of the step before
inline constinit int cpuPL1 = defaultPL1Mw;         // mW, the PL1 that the controller works with ("Current CPU PL1")
inline constinit int pl1ResetLevel = defaultPL1Mw;  // mW, PL1 that the stop path writes back
inline constinit int pwrCeiling = 2000;             // mW, recomputed each step from cpuPL1
inline constinit std::uint32_t acMode = 0;          // ACLineStatus: 0 battery, 1 mains, 255 unknown (counts as mains)
inline constinit int lastLoopAvg = 0;               // mW, the probe's running average at the previous sample
inline constinit int prevClipCount = 0;             // clipped samples of the step before
inline constinit int socWorkload = 0;               // last GET_SOC_WORKLOAD; goes nowhere, the class comes by event

// The ceiling.
inline constinit int PerfRange = 0;          // preference that the tier asks for
inline constinit int lastPrefMax = 0;        // the step's prefMax before it is reloaded
inline constinit int pwrDeltaThreshold = 0;  // mW, rise that counts as "Up"
inline constinit int leastRangeStep = 300;   // preference, applied when prefMax has long stood still
inline constinit int upStep = 0;             // preference, the same while power rises a little
inline constinit int leastRangeLimit = 3;    // repeats before either is applied
inline constinit int leastRangeCount = 0;    // steps in a row without a change of prefMax

// Bursts and Active Idle.
inline constinit int exitCount = -1;       // steps left of full performance; -1: none
inline constinit int NewPID = 0;           // 0 idle, 1 burst running, 2 burst over and restore allowed
inline constinit int perfRestored = 0;     // 1 in the step after a restore: the next fall counts as none
inline constinit int activeIdle = 0;       // 1 while in Active Idle
inline constinit int activeIdleCount = 0;  // Active Idle entries since the last normal step
inline constinit int pidOnTestState = 0;   // 0, 1, 2: the process watcher is stopped on the first Active Idle entry

// The average-power tracker.
inline constinit int NewPIDAvgPwr = 10000;  // mW, smoothed average power plus 10%
inline constinit int avgSum = 0;            // mW, the tracker's sum
inline constinit int avgN = 0;              // its divisor
inline constinit int avgCnt = 0;            // its window counter
inline constinit int avgWindowMin = 5;      // samples before it averages: 3 after a reset, 6 after an average
inline constinit int avgSampleLimit = 5;    // its divisor's limit, by workload class

// Statistics.
inline constinit int clipSum = 0;           // clipped samples
inline constinit int avgCount = 0;          // steps
inline constinit std::int64_t pwrSum = 0;   // sum of pkgPower
inline constinit std::int64_t prefSum = 0;  // sum of prefMax

// --- written by the scaling loop, and by the process watcher's thread through setPerfmax -----------------------------
inline constinit std::atomic<int> kv_off_f = 1;       // 1 while scaling is on, 0 after it switched itself off
inline constinit std::atomic<int> minPrefReset = -1;  // non-zero: setPerfmax writes the floor 0 as well

// --- written by the scaling loop, read by setPerfmax on any thread ---------------------------------------------------
inline constinit std::atomic<int> Kv_opt = 3;  // slider mode: 1 performance, 2 quiet, 3 balanced; 0 would be off

// --- written by nobody -----------------------------------------------------------------------------------------------
inline constinit std::atomic<std::uint8_t> g_stopEnabled = 1;  // with g_loopStopEnabled it lets the stop path run

// Held across the loop's stop path and by stopProcessWatch; never destroyed.
std::mutex& g_loopStopLock();

inline bool onMains() { return acMode != 0; }

// acMode as a factor of the controller's formulas: at most 255.
inline int acFactor() { return static_cast<int>(acMode); }

inline int bySource(const BySource& value) { return onMains() ? value.mains : value.battery; }

}  // namespace kelvane
