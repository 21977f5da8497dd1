// The acts of a session of which the sweep lets calls fail, and what an operator must see of each failure.
#pragma once

#include "WindowFaultSweepStage.h"

#include <QByteArray>

#include <string>
#include <vector>

namespace qorn::testing {

inline constexpr const char* kClockPoll = "tt_get_reference_clock_status"; // also by a timer

// How a failure shows.
enum class Shown {
    Box,         // a warning of that title
    Flag,        // a flag of the status bar
    Message,     // a message of the status bar
    ConnectPage, // the connect page's status
    Nowhere,
};

struct Telling {
    const char* function;
    std::uint64_t number; // 0: each call
    Shown shown;
    const char* title; // of a box; the flag's text
    const char* words;
};

struct Step {
    const char* name;
    bool connected; // where the act begins
    void (*prepare)(FaultSweepStage&);
    void (*act)(FaultSweepStage&, bool holdLast);
    const char* polled; // by the act until it is stopped; may be null
    std::vector<Telling> tellings;
    QByteArray scene = standardScene();
    std::vector<FaultingDriver::Fault> more = {}; // places that no number names
    std::vector<std::string> only = {};           // functions to fail; empty: all
};

std::vector<Step> allSteps();

} // namespace qorn::testing
