// Which menu actions make sense in which state of the window: a pure function.
#pragma once

namespace qorn::timetagger::gui {

struct SourceState {
    bool local = false;       // a device is open
    bool remote = false;      // a network relay is the source
    bool capturing = false;   // an acquisition runs
    bool calibrating = false; // a calibration or calibration upload runs
};

struct ActionStates {
    bool closeDevice = false;
    bool calibrate = false;
    bool clockSettings = false;
    bool inputSettings = false;
    bool developerSettings = false;
    bool networkRelay = false;
    bool newExperiment = false;
};

constexpr ActionStates actionStatesFor(const SourceState& state) {
    const bool source = state.local || state.remote;
    const bool quiet = !state.capturing && !state.calibrating;
    const bool quietDevice = state.local && quiet;
    return {source && quiet,
            quietDevice,
            quietDevice,
            quietDevice,
            quietDevice,
            source,
            source && !state.calibrating};
}

} // namespace qorn::timetagger::gui
