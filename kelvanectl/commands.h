// kelvanectl/commands.h: what a person can ask for. Each returns the exit code.
#pragma once

#include <string>

namespace kelvane {

// Prints the diagnostic log, an entry a line; an empty name stands for the service's own.
int logCommand(const std::wstring& file);

// Prints what is known of the service, its surroundings and scaling.
int statusCommand(bool json);

// Prints a line for each thing that must be in place; fails if one is not.
int verifyCommand(bool json);

}  // namespace kelvane
