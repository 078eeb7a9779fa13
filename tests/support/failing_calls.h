// tests/support/failing_calls.h: which calls of the platform fail, by name or counted over everything that a test does.
//
// Fakes ask callFails once in each call that can fail. Without a plan nothing is counted, and only named calls fail.
// Any thread.
#pragma once

#include "simulator/platform/import_slot.h"

#include <windows.h>

#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace kelvane::tests {

struct FailurePlan {
    int first = 0;        // number of the call that fails, from 1 on; 0: none
    bool onward = false;  // and all after it
};

// From now on the calls of these names fail, and no others.
void failCalls(const std::set<std::string>& names);

// From now on calls are counted, and fail as planned.
void planFailures(FailurePlan plan);

// Counts the call of this name; true when it has to fail.
bool callFails(const std::string& name);

// The names of all calls since the plan, and of those that failed.
std::vector<std::string> callsMade();
std::vector<std::string> callsFailed();

// Whether one of this name has failed.
bool callFailed(const std::string& name);

// Makes one imported function fail as planned, for the life of a scope; otherwise it does what it did before. A failure
// answers `failure`, sets the last error and touches nothing else.
template<auto& slot, class Function = std::remove_reference_t<decltype(slot)>>
class FailingImport;

template<auto& slot, class Result, class... Arguments>
class FailingImport<slot, Result (*)(Arguments...)> {
public:
    FailingImport(const char* callName, Result failingResult, DWORD failingError = ERROR_ACCESS_DENIED)
    {
        name = callName;
        failure = failingResult;
        error = failingError;
        before = slot;
        simulator::setImport(slot, call);
    }

    ~FailingImport() { simulator::setImport(slot, before); }

    FailingImport(const FailingImport&) = delete;
    FailingImport& operator=(const FailingImport&) = delete;

private:
    static Result call(Arguments... arguments)
    {
        if (!callFails(name)) return before(arguments...);
        SetLastError(error);
        return failure;
    }

    static inline Result (*before)(Arguments...);
    static inline const char* name;
    static inline Result failure;
    static inline DWORD error;
};

}  // namespace kelvane::tests
