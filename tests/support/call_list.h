// tests/support/call_list.h: what the fakes of one test were asked, in order. Any thread.
#pragma once

#include <string>
#include <vector>

namespace kelvane::tests {

void note(const std::string& call);

// What a StoreWatch has seen, as "store NAME VALUE".
void noteStore(const std::string& name, const std::string& value);

std::vector<std::string> noted();

// Those of the notes that begin with `start`.
std::vector<std::string> notedOf(const std::string& start);

void forgetNotes();

// From now on each message of the diagnostic log is noted as "log LEVEL TEXT".
void noteLog();

}  // namespace kelvane::tests
