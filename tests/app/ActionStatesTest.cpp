#include "ActionStates.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace qorn::timetagger::gui {
namespace {

class ActionStatesTable : public ::testing::TestWithParam<int> {};

// Letters of the actions that are enabled: Close device, caLibrate, clocK, Input, Developer, Relay, New.
struct Row {
    SourceState state;
    const char* enabled;
};

// local, remote, capturing, calibrating
constexpr Row kRows[] = {
    {{false, false, false, false}, ""},       {{false, false, false, true}, ""},
    {{false, false, true, false}, ""},        {{false, false, true, true}, ""},
    {{false, true, false, false}, "CRN"},     {{false, true, false, true}, "R"},
    {{false, true, true, false}, "RN"},       {{false, true, true, true}, "R"},
    {{true, false, false, false}, "CLKIDRN"}, {{true, false, false, true}, "R"},
    {{true, false, true, false}, "RN"},       {{true, false, true, true}, "R"},
    {{true, true, false, false}, "CLKIDRN"},  {{true, true, false, true}, "R"},
    {{true, true, true, false}, "RN"},        {{true, true, true, true}, "R"},
};

std::string letters(const ActionStates& states) {
    const std::tuple<bool, char> actions[] = {
        {states.closeDevice, 'C'},   {states.calibrate, 'L'},         {states.clockSettings, 'K'},
        {states.inputSettings, 'I'}, {states.developerSettings, 'D'}, {states.networkRelay, 'R'},
        {states.newExperiment, 'N'},
    };
    std::string enabled;
    for (const auto& [isEnabled, letter] : actions) {
        if (isEnabled) {
            enabled += letter;
        }
    }
    return enabled;
}

TEST_P(ActionStatesTable, EnablesWhatMakesSense) {
    const Row& row = kRows[GetParam()];
    EXPECT_EQ(letters(actionStatesFor(row.state)), row.enabled);
}

INSTANTIATE_TEST_SUITE_P(AllStates, ActionStatesTable, ::testing::Range(0, 16), [](const auto& test) {
    const SourceState& state = kRows[test.param].state;
    std::string name;
    name += state.local ? "Local" : "";
    name += state.remote ? "Remote" : "";
    name += state.capturing ? "Capturing" : "";
    name += state.calibrating ? "Calibrating" : "";
    return name.empty() ? std::string("Nothing") : name;
});

} // namespace
} // namespace qorn::timetagger::gui
