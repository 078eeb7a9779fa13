// The controller's variables with their start values; what they mean stands in the header.
#include "controller/state.h"

namespace kelvane {

int sessionRetry = 0;
int pkgPower = -1;
int pkgPowerPrev = 0;
int cpuPL1 = defaultPL1Mw;
int pl1ResetLevel = defaultPL1Mw;
int pwrCeiling = 2000;
std::uint32_t acMode = 0;
int PerfRange = 0;
int lastPrefMax = 0;
int pwrDeltaThreshold = 0;
int leastRangeStep = 300;
int upStep = 0;
int leastRangeLimit = 3;
int leastRangeCount = 0;
int exitCount = -1;
int NewPID = 0;
int activeIdle = 0;
int activeIdleCount = 0;
int pidOnTestState = 0;
int perfRestored = 0;
int prevClipCount = 0;
int NewPIDAvgPwr = 10000;
int avgSum = 0;
int avgN = 0;
int avgCnt = 0;
int avgWindowMin = 5;
int avgSampleLimit = 5;
int lastLoopAvg = 0;
int clipSum = 0;
int avgCount = 0;
std::int64_t pwrSum = 0;
std::int64_t prefSum = 0;
int socWorkload = 0;

std::atomic<int> appliedPrefMax = 0;
std::atomic<int> PrevPerf = 0;
std::atomic<int> kv_off_f = 1;
std::atomic<int> clipPending = 0;
std::atomic<int> minPrefReset = -1;

std::atomic<std::uint64_t> g_sessionHandle = ~std::uint64_t{ 0 };
std::atomic<std::uint8_t> g_sessionOpen = 1;
std::atomic<std::uint8_t> g_stopDone = 1;
std::atomic<std::uint8_t> g_stopEnabled = 1;
std::atomic<int> g_orqStatus = 0;
std::atomic<int> Kv_opt = 3;
std::atomic<int> prevWorkload = -1;

std::atomic<int> g_workload = 0;
std::atomic<int> g_powerSlider = 0;
std::atomic<int> g_powerSliderChanged = 0;
std::atomic<int> g_workloadEventSeen = 0;
std::atomic<int> g_workloadEventPending = 0;
std::atomic<int> g_workloadEventHold = 0;
std::atomic<int> PwrPause = 0;

std::atomic<int> PID_Change = 0;
std::atomic<int> noOfPids = 0;

std::mutex& g_loopStopLock = *new std::mutex;

}  // namespace kelvane
