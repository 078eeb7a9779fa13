// One list per process: each test runs in a process of its own.
#include "tests/support/call_list.h"

#include "simulator/replay/recorded_log.h"

#include <algorithm>
#include <iterator>
#include <mutex>

namespace kelvane::tests {

namespace {

std::mutex& lock = *new std::mutex;
std::vector<std::string>& calls = *new std::vector<std::string>;

}  // namespace

void note(const std::string& call)
{
    const std::lock_guard hold(lock);
    calls.push_back(call);
}

void noteStore(const std::string& name, const std::string& value) { note("store " + name + " " + value); }

std::vector<std::string> noted()
{
    const std::lock_guard hold(lock);
    return calls;
}

std::vector<std::string> notedOf(const std::string& start)
{
    std::vector<std::string> found;
    std::ranges::copy_if(noted(), std::back_inserter(found),
                         [&](const std::string& call) { return call.starts_with(start); });
    return found;
}

void forgetNotes()
{
    const std::lock_guard hold(lock);
    calls.clear();
}

void noteLog()
{
    simulator::recordLog([](int level, const std::string& text) { note("log " + std::to_string(level) + " " + text); });
}

}  // namespace kelvane::tests
