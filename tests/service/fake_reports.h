// tests/service/fake_reports.h: the service host's two channels, noted as "data MESSAGE" and "event MESSAGE".
#pragma once

#include <functional>
#include <string>

namespace kelvane::tests {

// Called before an event, or a line of data, is noted: the place to throw something.
extern std::function<void(const std::wstring& message)>& onServiceEvent;
extern std::function<void(const std::string& message)>& onServiceData;

}  // namespace kelvane::tests
