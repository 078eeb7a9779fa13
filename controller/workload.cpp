// Two tables: preferences by workload class, and what each band of the power slider makes of them.
#include "controller/workload.h"

#include "controller/actuators.h"
#include "controller/state.h"
#include "diagnostics/diagnostic_log.h"
#include "framework/primitives.h"
#include "state/state.h"

#include <limits>

namespace kelvane {

namespace {

constexpr int quietPL1Mw = 10500;  // slider in its lowest band

struct WorkloadClass {
    int workload;
    int low;
    int mid;
    int high;
    int avgSampleLimit;
    int pwrDeltaThresholdMw;
};

constexpr WorkloadClass workloadClasses[] = {
    // class, preference low, mid, high, samples, rise mW
    { 1, 1500, 2000, 2500, 100, 100 },
    { 2, 1500, 2000, 2500, 100, 100 },
    { 3, 1600, 2100, 2600, 100, 20 },
    { 4, 3500, 4000, 4500, 100, 20 },
};
constexpr WorkloadClass otherWorkload = { 0, 1300, 1800, 2300, 200, 100 };

using Preference = int WorkloadClass::*;

struct SliderBand {
    int fromPosition;
    int mode;  // Kv_opt
    Preference preference;
    int PL1Mw;
    bool setsCpuPL1;
};

constexpr SliderBand sliderBands[] = {
    { std::numeric_limits<int>::min(), 3, &WorkloadClass::mid, defaultPL1Mw, false },
    { 1, 2, &WorkloadClass::low, quietPL1Mw, false },
    { 51, 3, &WorkloadClass::mid, defaultPL1Mw, true },
    { 100, 1, &WorkloadClass::high, startPL1Mw, false },
};

constexpr int unsetSliderPosition = 75;  // what a slider below its first position stands for

const WorkloadClass& findClass(int workload)
{
    for (const WorkloadClass& row : workloadClasses) {
        if (row.workload == workload) return row;
    }
    return otherWorkload;
}

const SliderBand& findBand(int position)
{
    const SliderBand* found = sliderBands;
    for (const SliderBand& band : sliderBands) {
        if (position >= band.fromPosition) found = &band;
    }
    return *found;
}

void applySlider(const WorkloadClass& row)
{
    const int position = g_powerSlider;
    const SliderBand& band = findBand(position);
    if (position < 1) g_powerSlider = unsetSliderPosition;
    Kv_opt = band.mode;
    PerfRange = row.*band.preference;
    setPL1(static_cast<unsigned>(band.PL1Mw));
    if (band.setsCpuPL1) cpuPL1 = band.PL1Mw;
    g_powerSliderChanged = 0;
}

}  // namespace

void readWorkloadClassification()
{
    socWorkload = getSocWorkload(g_sessionHandle);
    const int workload = g_workload;
    if (workload == -1) logLine(logError, "workload classification is failed : ", workload);
    const WorkloadClass& row = findClass(workload);
    PerfRange = row.mid;
    avgSampleLimit = row.avgSampleLimit;
    pwrDeltaThreshold = row.pwrDeltaThresholdMw;
    if (g_powerSliderChanged != 0) applySlider(row);
}

}  // namespace kelvane
