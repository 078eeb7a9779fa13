// One count per process.
#include "tests/support/failing_calls.h"

#include <algorithm>
#include <mutex>

namespace kelvane::tests {

namespace {

struct Count {
    std::mutex lock;
    std::set<std::string> named;
    bool counts = false;
    FailurePlan plan;
    std::vector<std::string> made;
    std::vector<std::string> failed;
};

Count& count = *new Count;

}  // namespace

void failCalls(const std::set<std::string>& names)
{
    const std::lock_guard hold(count.lock);
    count.named = names;
}

void planFailures(FailurePlan plan)
{
    const std::lock_guard hold(count.lock);
    count.counts = true;
    count.plan = plan;
    count.made.clear();
    count.failed.clear();
}

bool callFails(const std::string& name)
{
    const std::lock_guard hold(count.lock);
    if (count.named.contains(name)) return true;
    if (!count.counts) return false;
    count.made.push_back(name);
    const int number = static_cast<int>(count.made.size());
    const bool fails = count.plan.onward ? number >= count.plan.first : number == count.plan.first;
    if (fails && count.plan.first != 0) count.failed.push_back(name);
    return fails && count.plan.first != 0;
}

std::vector<std::string> callsMade()
{
    const std::lock_guard hold(count.lock);
    return count.made;
}

std::vector<std::string> callsFailed()
{
    const std::lock_guard hold(count.lock);
    return count.failed;
}

bool callFailed(const std::string& name)
{
    const std::vector<std::string> failed = callsFailed();
    return std::ranges::find(failed, name) != failed.end();
}

}  // namespace kelvane::tests
