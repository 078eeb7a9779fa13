// Ticks are the unit of everything but the end of a job, which the processor knows better.
#include "simulator/replay/measures.h"

#include <algorithm>

namespace kelvane::simulator {

namespace {

// A limit that holds shows as a power that equals it, but for rounding.
constexpr double abovePl1Mw = 1;

std::string quotedName(const std::string& name)
{
    std::string text = "\"";
    for (const char c : name) text += c == '"' ? "\"\"" : std::string(1, c);
    return text + '"';
}

template<class Time>
std::string since(std::uint64_t arrivalMs, const std::optional<Time>& atMs)
{
    return atMs ? std::to_string(*atMs - static_cast<Time>(arrivalMs)) : "";
}

}  // namespace

Measures::Measures(const Scenario& scenario)
{
    for (const ScenarioLine& line : scenario) {
        if (const auto* job = std::get_if<Job>(&line.input)) {
            jobs.push_back({ job->name, job->launch, line.timeMs, {}, {}, {} });
        }
    }
}

void Measures::take(const ProcessorModel& processor)
{
    const std::uint64_t tickBeganMs = processor.nowMs() - tickMs;
    arrive(tickBeganMs);
    followCeiling(processor, tickBeganMs);
    for (const FinishedJob& finished : processor.finished()) finish(finished);
    timeMs = processor.nowMs();
    energyMicrojoules += processor.powerMw() * tickMs;
    servedCoreMs = processor.servedCoreMs();
    unfinishedCoreMs = processor.unfinishedCoreMs();
    ceilingWrites = processor.ceilingWrites();
    if (processor.powerMw() > processor.pl1Mw() + abovePl1Mw) abovePl1Ms += tickMs;
    const bool nothingToDo = processor.busyCores() <= 0;
    if (nothingToDo && processor.ceiling() == fullPerformance) fullWithNothingToDoMs += tickMs;
}

void Measures::arrive(std::uint64_t tickBeganMs)
{
    for (; arrived < jobs.size() && jobs[arrived].arrivalMs <= tickBeganMs; ++arrived) {
        if (jobs[arrived].launch) openLaunches.push_back(arrived);
    }
}

void Measures::followCeiling(const ProcessorModel& processor, std::uint64_t tickBeganMs)
{
    if (processor.ceiling() != fullPerformance) {
        fullSinceMs.reset();
        return;
    }
    if (!fullSinceMs) fullSinceMs = tickBeganMs;
    for (const std::size_t launch : openLaunches) {
        JobMeasures& job = jobs[launch];
        if (!job.fullFirstAtMs) job.fullFirstAtMs = std::max(job.arrivalMs, *fullSinceMs);
    }
}

void Measures::finish(const FinishedJob& finished)
{
    JobMeasures& job = jobs[finished.job];
    job.doneAtMs = finished.atMs;
    if (!job.launch) return;
    if (fullSinceMs) job.fullHeldSinceMs = std::max(job.arrivalMs, *fullSinceMs);
    std::erase(openLaunches, finished.job);
}

void Measures::writeJobs(std::ostream& out) const
{
    out << "name,launch,arrival_ms,done_ms,ceiling_first_ms,ceiling_held_ms\n";
    for (std::size_t index = 0; index < arrived; ++index) {
        const JobMeasures& job = jobs[index];
        out << quotedName(job.name) << ',' << job.launch << ',' << job.arrivalMs << ','
            << since(job.arrivalMs, job.doneAtMs) << ',' << since(job.arrivalMs, job.fullFirstAtMs) << ','
            << since(job.arrivalMs, job.fullHeldSinceMs) << '\n';
    }
}

void Measures::writeTotals(std::ostream& out) const
{
    out << "measure,value\n"
        << "time_ms," << timeMs << '\n'
        << "energy_mj," << std::to_string(energyMicrojoules / 1000) << '\n'
        << "served_core_ms," << std::to_string(servedCoreMs) << '\n'
        << "unfinished_core_ms," << std::to_string(unfinishedCoreMs) << '\n'
        << "full_with_nothing_to_do_ms," << fullWithNothingToDoMs << '\n'
        << "above_pl1_ms," << abovePl1Ms << '\n'
        << "ceiling_writes," << ceilingWrites << '\n';
}

}  // namespace kelvane::simulator
