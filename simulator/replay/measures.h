// simulator/replay/measures.h: what a policy is worth, tick by tick: energy, waiting, and what it did with the ceiling.
#pragma once

#include "simulator/formats/scenario.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace kelvane::simulator {

class Measures {
public:
    explicit Measures(const Scenario& scenario);

    // After each tick of the processor that does the scenario's work.
    void take(const ProcessorModel& processor);

    // CSV, a row for each job that arrived: name,launch,arrival_ms,done_ms,ceiling_first_ms,ceiling_held_ms. Times
    // since the arrival, but for the first. A job that was not done has none; so has a launch that never saw full
    // performance (first), or did not have it at its end (held: since when).
    void writeJobs(std::ostream& out) const;

    // CSV: measure,value.
    void writeTotals(std::ostream& out) const;

private:
    struct JobMeasures {
        std::string name;
        bool launch;
        std::uint64_t arrivalMs;
        std::optional<double> doneAtMs;
        std::optional<std::uint64_t> fullFirstAtMs;
        std::optional<std::uint64_t> fullHeldSinceMs;
    };

    void arrive(std::uint64_t tickBeganMs);
    void followCeiling(const ProcessorModel& processor, std::uint64_t tickBeganMs);
    void finish(const FinishedJob& finished);

    std::vector<JobMeasures> jobs;
    std::size_t arrived = 0;
    std::vector<std::size_t> openLaunches;
    std::optional<std::uint64_t> fullSinceMs;
    std::uint64_t timeMs = 0;
    std::uint64_t fullWithNothingToDoMs = 0;
    std::uint64_t abovePl1Ms = 0;
    std::uint64_t ceilingWrites = 0;
    double energyMicrojoules = 0;
    double servedCoreMs = 0;
    double unfinishedCoreMs = 0;
};

}  // namespace kelvane::simulator
