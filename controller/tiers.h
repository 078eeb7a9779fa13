// controller/tiers.h: the power tiers and the preference that each asks for.
#pragma once

namespace kelvane {

struct Tier {
    int fromMw;               // the first power that belongs to it
    int PerfRange;            // preference
    int leastRangeStep;       // preference
    int pwrDeltaThresholdMw;  // rise that counts as "Up"
    int upStep;               // preference
};

// The tier of `powerMw` under the limit `PL1Mw`.
const Tier& findTier(int powerMw, int PL1Mw);

}  // namespace kelvane
