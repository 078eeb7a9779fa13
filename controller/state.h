// controller/state.h: the controller's variables and constants.
//
// Power is in mW, preference on 0..10000 (10000: unrestricted). Variables keep their values when scaling stops and
// starts again; nothing resets them but the code that names them. What more than one thread touches is atomic: it is
// read and written plainly, and a change is seen at the next read. Log lines use these names.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

namespace kelvane {

// --- constants -----------------------------------------------------------------------------------------------------------
constexpr int startPL1Mw = 37000;  // written once before the working limit
constexpr int defaultPL1Mw = 17000;
constexpr int quietPL1Mw = 10500;  // slider in its lowest band
constexpr int defaultPreference = 1200;
constexpr int fullPreference = 10000;
constexpr int negativePreference = 2000;  // written in place of a negative value
constexpr int initialPowerReads = 5;
constexpr int maxConnectAttempts = 1;

constexpr int probeSamples = 10;
constexpr int probeSamplesIdle = 2;
constexpr std::uint32_t probeSleepMs = 300;           // ten samples make the three-second step
constexpr std::uint32_t probeSleepMsAfterWake = 200;  // look sooner after start, idle or a burst
constexpr int pkgPowerMwMax = 50000;                  // the probe's average is capped here
constexpr unsigned clipBit = 0x400;

constexpr std::uint32_t idlePauseMs = 5000;
constexpr std::uint32_t firstIdlePauseMs = 2000;  // more, while the process watcher is stopped
constexpr std::uint32_t clipPauseMs = 2000;
constexpr int idleExitStep = 500;
constexpr int leastRangeRepeats = 5;

// A threshold that differs with the power source.
struct BySource {
    int mains;
    int battery;
};

constexpr BySource idleEntryMw = { 1100, 1300 };      // at or below: may enter Active Idle; above: leaves it
constexpr BySource idleEntryPrevMw = { 1500, 1700 };  // the step before must be below
constexpr BySource pidOnTestMw = { 1600, 1800 };
constexpr BySource ceilingBelowPL1Mw = { 2000, 1000 };
constexpr BySource clipFullMw = { 6500, 7500 };  // a clip above: full performance, else half

// --- written by the scaling loop alone -----------------------------------------------------------------------------------
extern int sessionRetry;       // connect attempts after a failure; never reset
extern int pkgPower;           // mW, average of the last step's probe; -1 before the first
extern int pkgPowerPrev;       // mW, of the step before
extern int cpuPL1;             // mW, the PL1 that the controller works with ("Current CPU PL1")
extern int pl1ResetLevel;      // mW, PL1 that the stop path writes back
extern int pwrCeiling;         // mW, recomputed each step from cpuPL1
extern std::uint32_t acMode;   // ACLineStatus: 0 battery, 1 mains, 255 unknown (counts as mains)
extern int PerfRange;          // preference that the tier asks for
extern int lastPrefMax;        // the step's prefMax before it is reloaded
extern int pwrDeltaThreshold;  // mW, rise that counts as "Up"
extern int leastRangeStep;     // preference, applied when prefMax has long stood still
extern int upStep;             // preference, the same while power rises a little
extern int leastRangeLimit;    // repeats before either is applied
extern int leastRangeCount;    // steps in a row without a change of prefMax
extern int exitCount;          // steps left of full performance; -1: none
extern int NewPID;             // 0 idle, 1 burst running, 2 burst over and restore allowed
extern int activeIdle;         // 1 while in Active Idle
extern int activeIdleCount;    // Active Idle entries since the last normal step
extern int pidOnTestState;     // 0, 1, 2: the process watcher is stopped on the first Active Idle entry
extern int perfRestored;       // 1 in the step after a restore: the next fall counts as none
extern int prevClipCount;      // clipped samples of the step before
extern int NewPIDAvgPwr;       // mW, smoothed average power plus 10%
extern int avgSum;             // mW, the tracker's sum
extern int avgN;               // its divisor
extern int avgCnt;             // its window counter
extern int avgWindowMin;       // samples before it averages: 3 after a reset, 6 after an average
extern int avgSampleLimit;     // its divisor's limit, by workload class
extern int lastLoopAvg;        // mW, the probe's running average at the previous sample
extern int clipSum;            // statistics: clipped samples
extern int avgCount;           // statistics: steps
extern std::int64_t pwrSum;    // statistics: sum of pkgPower
extern std::int64_t prefSum;   // statistics: sum of prefMax
extern int socWorkload;        // last GET_SOC_WORKLOAD; goes nowhere, the class comes by event

// --- written by the scaling loop, and by the process watcher's thread through setPerfmax ---------------------------------
extern std::atomic<int> appliedPrefMax;  // preference ceiling last written, whether or not the write succeeded
extern std::atomic<int> PrevPerf;        // appliedPrefMax saved when full performance replaces less
extern std::atomic<int> kv_off_f;        // 1 while scaling is on, 0 after it switched itself off
extern std::atomic<int> clipPending;     // cleared by every branch and by setPerfmax
extern std::atomic<int> minPrefReset;    // non-zero: setPerfmax writes the floor 0 as well

// --- written by the scaling loop, read by other threads ------------------------------------------------------------------
extern std::atomic<std::uint64_t> g_sessionHandle;  // all ones: there is none
extern std::atomic<std::uint8_t> g_sessionOpen;     // 1 at process start; 0 at loop start, 1 after a connect
extern std::atomic<std::uint8_t> g_stopDone;        // 0 while the loop's stop path runs
extern std::atomic<std::uint8_t> g_stopEnabled;     // always 1; with g_loopStopEnabled it lets the stop path run
extern std::atomic<int> g_orqStatus;                // latest framework status; also setPerfmax's, on any thread
extern std::atomic<int> Kv_opt;                     // slider mode: 1 performance, 2 quiet, 3 balanced; 0 would be off
extern std::atomic<int> prevWorkload;               // class that the tracker last reset for; -1: none

// --- written by the framework's event thread, read and consumed by the loop ----------------------------------------------
extern std::atomic<int> g_workload;              // workload class
extern std::atomic<int> g_powerSlider;           // slider position
extern std::atomic<int> g_powerSliderChanged;    // 1: consumed by the workload read
extern std::atomic<int> g_workloadEventSeen;     // 1: consumed by the ceiling phase
extern std::atomic<int> g_workloadEventPending;  // 1: consumed by the tracker
extern std::atomic<int> g_workloadEventHold;     // steps until the tracker resets for the new class
extern std::atomic<int> PwrPause;                // 1: consumed by the Down branch

// --- written by the process watcher, consumed by the loop ----------------------------------------------------------------
extern std::atomic<int> PID_Change;  // 1: a process started since the loop last looked
extern std::atomic<int> noOfPids;    // started processes that are in no list

// Held across the loop's stop path and by stopProcessWatch; never destroyed.
extern std::mutex& g_loopStopLock;

inline bool onMains() { return acMode != 0; }

// acMode as a factor of the controller's formulas: at most 255.
inline int acFactor() { return static_cast<int>(acMode); }

inline int bySource(const BySource& value) { return onMains() ? value.mains : value.battery; }

}  // namespace kelvane
