// tests/service/fake_reports.h: the service host's two channels, noted as "data MESSAGE" and "event MESSAGE".
#pragma once

#include <functional>
#include <string>

namespace kelvane::tests {

// Called before a line of data is noted: the place to throw something.
inline std::function<void(const std::string&)>& onServiceData = *new std::function<void(const std::string&)>;

// Called when an event has been noted.
inline std::function<void()>& onServiceEvent = *new std::function<void()>;

}  // namespace kelvane::tests
