// simulator/model/processor_model.h: a processor that answers from the work it is given, instead of from a recording.
//
// Time goes in ticks of 10 ms. In each one the jobs at hand share the cores (every thread the same share), at a clock
// that follows from the ceiling and the power limits; power follows from clock and busy cores. Work is counted in
// core-ms: one core at full clock does one in a millisecond. The same calls give the same numbers. Not for several
// threads at once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kelvane::simulator {

// What a machine is made of. `full clock` is the clock at the ceiling 10000, and 1.0 here.
struct ProcessorSpec {
    std::string_view name;
    std::uint32_t cores;
    double lowestClock;   // share of full clock at the ceiling 0: the processor's most efficient clock
    double ceilingGamma;  // clock = lowest + (1 - lowest) * (ceiling / 10000)^gamma; below 1: the first steps give most
    double idlePowerMw;   // package power with no core busy: caches, memory controller, leakage
    double linearPowerMw;        // of each busy core, times the clock: switching at the lowest voltage
    double cubicPowerMw;         // of each busy core, times the clock cubed: voltage rises with the clock
    double pl1Mw;                // sustained limit until somebody writes another: the maker's setting
    double pl2Mw;                // limit that is never passed: what the supply and the voltage regulators give
    double powerTimeConstantMs;  // of the average that PL1 limits
};

constexpr ProcessorSpec processorPresets[] = {
    // Idles below 1.1 W, so that Active Idle can be reached. One core at full clock draws 8 W; with all six at work PL2
    // leaves 0.81 of the clock, 17 W leave 0.63.
    { "thin-laptop", 6, 0.20, 0.50, 800, 2000, 6000, 15000, 30000, 8000 },
    // More cores, more of everything, a cooler that carries 45 W.
    { "workstation-laptop", 8, 0.17, 0.55, 2200, 2500, 7500, 45000, 75000, 8000 },
    // A tower: high clocks, no battery to save, idles above the laptop's light work.
    { "desktop", 12, 0.16, 0.60, 9000, 4000, 11000, 125000, 180000, 8000 },
};

// Null when there is no preset of that name.
const ProcessorSpec* findProcessorPreset(std::string_view name);

constexpr std::uint32_t tickMs = 10;
constexpr std::uint32_t fullPerformance = 10000;
constexpr std::uint32_t clippedByPl1 = 0x400;  // bits of the clip reasons
constexpr std::uint32_t clippedByPl2 = 0x800;

struct FinishedJob {
    std::size_t job;  // 0 is the first that was added
    double atMs;
};

class ProcessorModel {
public:
    explicit ProcessorModel(const ProcessorSpec& machine);

    // In force from the next tick on. A ceiling above 10000 counts as 10000.
    void setCeiling(std::uint32_t value);
    void setPl1(std::uint32_t milliwatts);

    // `coreMs` of work that up to `cores` cores can do at once, both at least 1. It is taken up with the first tick
    // that begins at its arrival or later.
    void addJob(std::uint64_t arrivalMs, std::uint32_t coreMs, std::uint32_t cores);

    void tick();

    // The lowest ceiling that asks for so much of the full clock, 0..1.
    std::uint32_t ceilingFor(double clock) const;

    // --- after the last tick -----------------------------------------------------------------------------------------
    std::uint64_t nowMs() const { return now; }

    std::uint32_t ceiling() const { return preference; }

    double pl1Mw() const { return pl1; }

    double clock() const { return effectiveClock; }  // share of full clock

    double busyCores() const { return busy; }  // mean of the tick

    double powerMw() const { return power; }  // mean of the tick

    double meanLoad() const;     // share of the last 100 ms in which the busiest core worked
    double meanPowerMw() const;  // mean of the last 100 ms

    double averagePowerMw() const { return average; }  // exponentially averaged: what PL1 acts on

    std::uint32_t clipReasons() const { return clips; }

    double servedCoreMs() const { return served; }  // since the start

    double unfinishedCoreMs() const;  // of all jobs that have arrived
    double emptyingMs() const;        // what that takes at full clock, without further work

    std::size_t unfinishedJobs() const { return jobs.size(); }

    std::uint64_t ceilingWrites() const { return writes; }

    const std::vector<FinishedJob>& finished() const { return ended; }  // in the tick

private:
    struct Job {
        std::size_t number;
        std::uint64_t arrivalMs;
        double coreMs;  // unfinished
        double cores;
    };

    double threads() const;
    double clockFor(double milliwatts, double cores) const;
    double limitClock(double cores);
    void serve(double threadsAtHand);
    void account();

    const ProcessorSpec& spec;
    std::uint64_t now = 0;
    std::uint32_t preference = fullPerformance;
    double requestedClock = 1;
    double pl1;
    double effectiveClock = 1;
    double busy = 0;
    double power;
    double average;
    std::uint32_t clips = 0;
    double served = 0;
    std::uint64_t writes = 0;
    std::vector<Job> jobs;  // unfinished, in the order of arrival
    std::size_t jobsAdded = 0;
    std::vector<FinishedJob> ended;
    std::array<double, 10> recentPowerMw;  // of the last 100 ms
    std::array<double, 10> recentLoad = {};
};

}  // namespace kelvane::simulator
