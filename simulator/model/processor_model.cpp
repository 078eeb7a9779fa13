// A tick: find the clock that ceiling and limits allow, do the work that fits, and account for the power it took.
#include "simulator/model/processor_model.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace kelvane::simulator {

namespace {

double meanOf(const std::array<double, 10>& values)
{
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

}  // namespace

const ProcessorSpec* findProcessorPreset(std::string_view name)
{
    for (const ProcessorSpec& preset : processorPresets) {
        if (preset.name == name) return &preset;
    }
    return nullptr;
}

ProcessorModel::ProcessorModel(const ProcessorSpec& machine)
    : spec(machine), pl1(machine.pl1Mw), power(machine.idlePowerMw), average(machine.idlePowerMw)
{
    recentPowerMw.fill(machine.idlePowerMw);
}

void ProcessorModel::setCeiling(std::uint32_t value)
{
    preference = std::min(value, fullPerformance);
    requestedClock = spec.lowestClock + (1 - spec.lowestClock) * std::pow(preference / 10000.0, spec.ceilingGamma);
    writes += 1;
}

void ProcessorModel::setPl1(std::uint32_t milliwatts) { pl1 = milliwatts; }

void ProcessorModel::addJob(std::uint64_t arrivalMs, std::uint32_t coreMs, std::uint32_t cores)
{
    jobs.push_back({ jobsAdded, arrivalMs, static_cast<double>(coreMs), static_cast<double>(cores) });
    jobsAdded += 1;
}

void ProcessorModel::tick()
{
    const double threadsAtHand = threads();
    effectiveClock = limitClock(std::min<double>(threadsAtHand, spec.cores));
    serve(threadsAtHand);
    account();
    now += tickMs;
}

// Of the jobs that have arrived before the tick.
double ProcessorModel::threads() const
{
    double count = 0;
    for (const Job& job : jobs) count += job.arrivalMs <= now ? job.cores : 0;
    return count;
}

// The clock at which so many busy cores draw so much: the one real root of b f^3 + a f = power of a core.
double ProcessorModel::clockFor(double milliwatts, double cores) const
{
    const double perCore = std::max(milliwatts - spec.idlePowerMw, 0.0) / cores;
    const double q = perCore / (2 * spec.cubicPowerMw);
    const double p = spec.linearPowerMw / (3 * spec.cubicPowerMw);
    const double root = std::sqrt(q * q + p * p * p);
    return std::cbrt(q + root) + std::cbrt(q - root);
}

// The requested clock as far as the limits let the cores at hand have it, and the limit that cut it. No limit goes
// below the lowest clock.
double ProcessorModel::limitClock(double cores)
{
    clips = 0;
    double allowed = requestedClock;
    const auto limit = [&](double limitMw, std::uint32_t reason) {
        const double limited = std::max(clockFor(limitMw, cores), spec.lowestClock);
        if (limited >= allowed) return;
        allowed = limited;
        clips = reason;
    };
    if (cores > 0) limit(spec.pl2Mw, clippedByPl2);
    if (cores > 0 && average > pl1) limit(pl1, clippedByPl1);
    return allowed;
}

// Gives each thread the same share. What a job that ends in the tick leaves of its share is not given to another.
void ProcessorModel::serve(double threadsAtHand)
{
    ended.clear();
    const double share = std::min(1.0, spec.cores / std::max(threadsAtHand, 1.0));
    double servedNow = 0;
    for (Job& job : jobs) {
        if (job.arrivalMs > now) break;
        const double room = job.cores * share * effectiveClock * tickMs;
        const double done = std::min(job.coreMs, room);
        if (job.coreMs <= room) ended.push_back({ job.number, static_cast<double>(now) + tickMs * done / room });
        servedNow += done;
        job.coreMs -= done;
    }
    std::erase_if(jobs, [](const Job& job) { return job.coreMs <= 0; });
    served += servedNow;
    busy = servedNow / (effectiveClock * tickMs);
}

void ProcessorModel::account()
{
    const double f = effectiveClock;
    power = spec.idlePowerMw + busy * (spec.linearPowerMw * f + spec.cubicPowerMw * f * f * f);
    average += (power - average) * (1 - std::exp(-(tickMs / spec.powerTimeConstantMs)));
    const auto slot = static_cast<std::size_t>(now / tickMs % recentPowerMw.size());
    recentPowerMw[slot] = power;
    recentLoad[slot] = std::min(busy, 1.0);
}

double ProcessorModel::meanLoad() const { return meanOf(recentLoad); }

double ProcessorModel::meanPowerMw() const { return meanOf(recentPowerMw); }

std::uint32_t ProcessorModel::ceilingFor(double clock) const
{
    const double share = std::clamp((clock - spec.lowestClock) / (1 - spec.lowestClock), 0.0, 1.0);
    return static_cast<std::uint32_t>(std::ceil(fullPerformance * std::pow(share, 1 / spec.ceilingGamma)));
}

double ProcessorModel::unfinishedCoreMs() const
{
    double sum = 0;
    for (const Job& job : jobs) sum += job.coreMs;
    return sum;
}

double ProcessorModel::emptyingMs() const
{
    double longestMs = 0;
    for (const Job& job : jobs) {
        longestMs = std::max(longestMs, job.coreMs / std::min<double>(job.cores, spec.cores));
    }
    return std::max(longestMs, unfinishedCoreMs() / spec.cores);
}

}  // namespace kelvane::simulator
