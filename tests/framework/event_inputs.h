// tests/framework/event_inputs.h: what an event of the framework can change, and what it logs.
#pragma once

#include "framework/events.h"
#include "simulator/replay/recorded_log.h"
#include "state/state.h"

#include <sstream>
#include <string>
#include <vector>

namespace kelvane::tests {

// All variables that the event callback writes, and two that it must not, as one text.
inline std::string eventInputs()
{
    std::ostringstream text;
    text << "verbosity " << g_logVerbosity << ", scheme data " << (g_powerSchemeData ? "kept" : "none") << ", scheme "
         << g_powerScheme << ", slider " << g_powerSlider << " changed " << g_powerSliderChanged << ", raw "
         << g_workloadRaw << ", workload " << g_workload << ", pending " << g_workloadEventPending << ", hold "
         << g_workloadEventHold << ", seen " << g_workloadEventSeen << ", pause " << PwrPause << ", disconnected "
         << g_orqDisconnected << ", prevWorkload " << prevWorkload << ", status " << g_orqStatus;
    return text.str();
}

// Records the diagnostic log: "LEVEL TEXT" a message.
class RecordedMessages {
public:
    RecordedMessages()
    {
        simulator::recordLog(
            [this](int level, const std::string& text) { messages.push_back(std::to_string(level) + " " + text); });
    }

    ~RecordedMessages() { simulator::recordLog(nullptr); }

    RecordedMessages(const RecordedMessages&) = delete;
    RecordedMessages& operator=(const RecordedMessages&) = delete;

    std::vector<std::string> messages;
};

}  // namespace kelvane::tests
