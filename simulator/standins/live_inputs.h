// simulator/standins/live_inputs.h: inputs of a running simulation, from a file that grows.
//
// Each line is "input,value", as in a scenario without the time. Lines that begin with # and blank lines are skipped. A
// line counts once its line feed is there. A file that got shorter is read again from its start.
#pragma once

#include "simulator/formats/scenario.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

namespace kelvane::simulator {

class LiveInputs {
public:
    explicit LiveInputs(std::filesystem::path file);

    // Hands over what was added since the last call, in the file's order. A malformed line is told to `onFault` as
    // "NAME:LINE: reason" and passed over.
    void poll(const std::function<void(const Input&)>& onInput, const std::function<void(const std::string&)>& onFault);

private:
    std::filesystem::path path;
    std::size_t taken = 0;  // bytes
    std::size_t lines = 0;
};

}  // namespace kelvane::simulator
