// The table of tiers, and the one rule that is no row of it: the top tier depends on PL1.
#include "controller/tiers.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace kelvane {

namespace {

constexpr Tier tiers[] = {
    // from mW, preference, least step, rise mW, up step
    { std::numeric_limits<int>::min(), 1200, 0, 50, 150 },
    { 1600, 1800, -100, 100, 200 },
    { 2200, 2500, -100, 100, 200 },
    { 3000, 3000, -100, 100, 200 },
    { 4000, 3600, -100, 100, 200 },
    { 5000, 4200, -100, 100, 200 },
    { 6000, 4800, -100, 200, 300 },
};

// At least 6000 mW and this much above the half of PL1.
constexpr int topTierAboveHalfPL1Mw = 2000;
constexpr Tier topTier = { 6000, 5400, -200, 300, 300 };

constexpr bool ascendingByPower(const Tier* first, const Tier* last)
{
    return std::is_sorted(first, last, [](const Tier& a, const Tier& b) { return a.fromMw < b.fromMw; });
}

static_assert(ascendingByPower(std::begin(tiers), std::end(tiers)));

}  // namespace

const Tier& findTier(int powerMw, int PL1Mw)
{
    if (powerMw >= topTier.fromMw && powerMw >= PL1Mw / 2 + topTierAboveHalfPL1Mw) return topTier;
    const Tier* const above = std::upper_bound(std::begin(tiers), std::end(tiers), powerMw,
                                               [](int power, const Tier& tier) { return power < tier.fromMw; });
    return *std::prev(above);
}

}  // namespace kelvane
