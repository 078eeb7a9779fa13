// tests/support/repeated_cases.h: one test, once more in a process of its own for each of its cases.
#pragma once

namespace kelvane::tests {

// For each n from 1 to `calls` runs the test that is under way once more in a process of its own, with n as
// numberOfCase(); fails for each that does not pass. Static state is fresh in each.
void repeatInChildren(int calls);

// The number that repeatInChildren gave to this process; 0 in the process that a user started.
int numberOfCase();

}  // namespace kelvane::tests
