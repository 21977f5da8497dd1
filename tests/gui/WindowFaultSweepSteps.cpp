#include "WindowFaultSweepSteps.h"

#include "Environment.h"

namespace qorn::testing {
namespace {

constexpr const char* kCaptureError = "Capture error";
constexpr const char* kCalibrationFailed = "Calibration failed";

void nothing(FaultSweepStage&) {}

// The end of each acquisition looks at the clock.
const Telling kClockAtTheEnd{kClockPoll, 1, Shown::Flag, "Clock lock: unavailable", ""};

std::vector<Telling> inCaptureError(std::initializer_list<Telling> rows) {
    std::vector<Telling> all{kClockAtTheEnd};
    for (Telling row : rows) {
        row.shown = Shown::Box;
        row.title = kCaptureError;
        all.push_back(row);
    }
    return all;
}

Telling telling(const char* function, const char* words) {
    return {function, 0, Shown::Box, nullptr, words};
}

std::vector<Telling> scanTellings() {
    return {{"ensure_ftdi_fifo_eeprom_summary", 0, Shown::ConnectPage, "", "Found 2 customer USB device(s)."},
            {"tt_discover", 0, Shown::ConnectPage, "", "discover: general failure"},
            {"tt_discover_count", 0, Shown::ConnectPage, "", "No customer USB device was detected."},
            {"tt_discover_port", 0, Shown::ConnectPage, "", "Found 1 customer USB device(s)."},
            {"tt_discover_identity", 0, Shown::ConnectPage, "", "Found 2 customer USB device(s)."}};
}

Step scanStep() {
    return {"Scan",  false,         nothing, [](FaultSweepStage& stage, bool) { stage.scan(); },
            nullptr, scanTellings()};
}

Step resetStep() {
    std::vector<Telling> tellings = scanTellings();
    tellings.push_back({"cycle_ftdi_usb_device_summary", 0, Shown::ConnectPage, "", "USB reset failed."});
    return {"UsbReset", false,   nothing, [](FaultSweepStage& stage, bool) { stage.resetUsb(); },
            nullptr,    tellings};
}

Step connectStep() {
    const Telling required{"", 0, Shown::Flag, "Cal upload: required", ""};
    const auto requiredFor = [&](const char* function, std::uint64_t number) {
        Telling row = required;
        row.function = function;
        row.number = number;
        return row;
    };
    return {"Connect",
            false,
            nothing,
            [](FaultSweepStage& stage, bool) { stage.connectDevice(); },
            nullptr,
            {{"tt_open_serial", 0, Shown::Box, "Open failed", "open: general failure"},
             {"tt_identify", 0, Shown::Box, "Open failed", "identify: general failure (the cable is loose)"},
             {"tt_set_dac_codes", 0, Shown::Box, "Open failed",
              "set_dac_codes: general failure (the cable is loose)"},
             // An image without dead times is no reason to refuse the device.
             {"tt_set_input_dead_times", 0, Shown::Nowhere, "", ""},
             {"tt_set_tdl_active_masks", 1, Shown::Box, "Open failed",
              "set_tdl_active_masks: general failure (the cable is loose)"},
             // Behind the upload.
             {"tt_set_tdl_active_masks", 2, Shown::Message, "",
              "set_tdl_active_masks: general failure (the cable is loose)"},
             requiredFor("tt_get_calibration_path", 0),
             {"tt_upload_calibration_file", 0, Shown::Message, "", "general failure: the cable is loose"},
             // The next poll of the clock shows its state.
             {"tt_set_reference_clock", 0, Shown::Nowhere, "", ""},
             {kClockPoll, 0, Shown::Message, "", "Clock lock: unavailable"}}}; // until the next look
}

Step inputStep() {
    return {"InputSettings",
            true,
            nothing,
            [](FaultSweepStage& stage, bool) { stage.applyInputs(); },
            nullptr,
            {{"tt_set_dac_codes", 0, Shown::Box, "Input settings",
              "set_dac_codes: general failure (the cable is loose)"},
             {"tt_set_input_dead_times", 0, Shown::Box, "Input settings",
              "Thresholds were updated, but dead time could not be applied: general failure: the cable is "
              "loose"}}};
}

Step clockStep() {
    return {"ClockSettings",
            true,
            nothing,
            [](FaultSweepStage& stage, bool) { stage.applyClock(); },
            nullptr,
            {{"tt_set_reference_clock", 0, Shown::Box, "Clock settings",
              "set_reference_clock: general failure (the cable is loose)"},
             kClockAtTheEnd}};
}

// What the window's timer does every two seconds.
Step clockPollStep() {
    return {"ClockPolls",
            true,
            nothing,
            [](FaultSweepStage& stage, bool) { stage.pollClock(); },
            kClockPoll,
            {{kClockPoll, 0, Shown::Message, "", "Clock lock: unavailable"}}}; // until the next look
}

// A measurement with the external clock asks for its state until it is locked.
Step clockWaitStep() {
    const auto poll = [](std::uint64_t number, FaultingDriver::Effect effect) {
        return FaultingDriver::Fault{kClockPoll, number, "", 0, effect};
    };
    Step step{
        "ClockWait",
        true,
        nothing,
        [](FaultSweepStage& stage, bool) { stage.measureWithExternalClock(); },
        nullptr,
        inCaptureError({telling(kClockPoll, "reference_clock_status: general failure (the cable is loose)")}),
        standardScene(R"("reference": {"lock_delay_s": 1.2},)")};
    step.tellings.erase(step.tellings.begin());   // the poll at the end is none of these
    for (const std::uint64_t number : {2U, 3U}) { // besides the first
        step.more.push_back(poll(number, FaultingDriver::Effect::None));
        step.more.push_back(poll(number, FaultingDriver::Effect::Whole));
    }
    step.only = {kClockPoll};
    return step;
}

Step developerStep() {
    return {"DeveloperSettings",
            true,
            nothing,
            [](FaultSweepStage& stage, bool) { stage.applyDeveloperSettings(false); },
            nullptr,
            {{"tt_set_tdl_active_masks", 0, Shown::Box, "TDL masks",
              "Could not apply TDL masks: set_tdl_active_masks: general failure (the cable is loose)"},
             {"tt_get_calibration_path", 0, Shown::Nowhere, "", ""}}}; // the dialog shows none
}

Step uploadStep() {
    return {
        "UploadSaved",
        true,
        nothing,
        [](FaultSweepStage& stage, bool) { stage.uploadSaved(); },
        nullptr,
        {{"tt_get_calibration_path", 1, Shown::Nowhere, "", ""}, // the dialog shows none
                                                                 // Without its name the file is not found.
         {"tt_get_calibration_path", 0, Shown::Box, "Calibration",
          "file failure: cannot open the calibration file"},
         {"tt_upload_calibration_file", 0, Shown::Box, "Calibration", "general failure: the cable is loose"},
         {"tt_set_tdl_active_masks", 0, Shown::Box, "Calibration",
          "set_tdl_active_masks: general failure (the cable is loose)"}}};
}

const std::vector<Telling> kCounterTellings = inCaptureError({
    telling("tt_set_reference_clock", "set_reference_clock: general failure (the cable is loose)"),
    telling("tt_set_test_signal", "the cable is loose"),
    telling("tt_set_period_cycles", "set_period_cycles: general failure (the cable is loose)"),
    telling("tt_start_count_stream", "start_count_stream: general failure (the cable is loose)"),
    telling("tt_read_count_stream_sample", "read_count_stream_sample: general failure (the cable is loose)"),
    telling("tt_stop_measurement_stream", "stop_measurement_stream: general failure (the cable is loose)"),
});

Step counterStep() {
    return {"Counter",
            true,
            nothing,
            [](FaultSweepStage& stage, bool holdLast) {
                stage.measure(stage.counterTab(), "tt_read_count_stream_sample", holdLast);
            },
            "tt_read_count_stream_sample",
            kCounterTellings};
}

// The internal source is switched off at the end.
Step internalCounterStep() {
    return {"InternalCounter",
            true,
            [](FaultSweepStage& stage) { stage.applyDeveloperSettings(true); },
            [](FaultSweepStage& stage, bool holdLast) {
                stage.measure(stage.counterTab(), "tt_read_count_stream_sample", holdLast);
            },
            "tt_read_count_stream_sample",
            kCounterTellings};
}

const std::vector<Telling> kStreamTellings = inCaptureError({
    telling("tt_set_reference_clock", "set_reference_clock: general failure (the cable is loose)"),
    telling("tt_set_packed_delta_config", "set_packed_delta_config: general failure (the cable is loose)"),
    telling("tt_set_stream_interface", "set_stream_interface: general failure (the cable is loose)"),
    telling("tt_set_stream_channel_mask", "set_stream_channels: general failure (the cable is loose)"),
    telling("tt_disable_calibration_source",
            "disable_calibration_source: general failure (the cable is loose)"),
    telling("tt_set_calibration_freq", "set_calibration_freq: general failure (the cable is loose)"),
    telling("tt_enable_calibration_source",
            "enable_calibration_source: general failure (the cable is loose)"),
    telling("tt_start_stream_mode", "start_stream(mode): general failure (the cable is loose)"),
    telling("tt_read_stream_bytes", "read_stream_bytes: general failure (the cable is loose)"),
    telling("tt_stop_stream_mode", "stop_stream_any: general failure (the cable is loose)"),
});

void stream(FaultSweepStage& stage, bool holdLast) {
    stage.measure(stage.recordingTab(), "tt_read_stream_bytes", holdLast);
}

Step recordingStep() {
    return {"Recording", true, nothing, stream, "tt_read_stream_bytes", kStreamTellings};
}

Step internalRecordingStep() {
    return {"InternalRecording",
            true,
            [](FaultSweepStage& stage) { stage.applyDeveloperSettings(true); },
            stream,
            "tt_read_stream_bytes",
            kStreamTellings};
}

void coincide(FaultSweepStage& stage, bool holdLast) {
    stage.measure(stage.coincidenceTab(), "tt_run_coincidence", holdLast);
}

Step coincidenceStep() {
    return {"Coincidence",
            true,
            nothing,
            coincide,
            "tt_run_coincidence",
            inCaptureError({
                telling("tt_set_reference_clock", "set_reference_clock: general failure"),
                telling("tt_set_test_signal", "the cable is loose"),
                telling("tt_set_hw_coincidence_mask",
                        "set_hw_coincidence_mask: general failure (the cable is loose)"),
                telling("tt_set_hw_coincidence_offset_ps",
                        "set_hw_coincidence_offset_ps: general failure (the cable is loose)"),
                telling("tt_set_period_cycles", "set_period_cycles: general failure (the cable is loose)"),
                telling("tt_set_window_cycles", "set_window_cycles: general failure (the cable is loose)"),
                telling("tt_run_coincidence", "run_coincidence: general failure (the cable is loose)"),
            })};
}

const std::vector<Telling> kCalibrationTellings{
    {"tt_set_calibration_freq", 0, Shown::Box, kCalibrationFailed,
     "set_calibration_freq: general failure (the cable is loose)"},
    {"tt_set_stream_channel_mask", 0, Shown::Box, kCalibrationFailed,
     "set_stream_channels: general failure (the cable is loose)"},
    {"tt_set_stream_interface", 0, Shown::Box, kCalibrationFailed,
     "set_stream_interface: general failure (the cable is loose)"},
    {"tt_start_calibration_stream", 0, Shown::Box, kCalibrationFailed,
     "start_calibration_stream: general failure (the cable is loose)"},
    {"tt_start_calibration_sweep_stream", 0, Shown::Box, kCalibrationFailed,
     "start_calibration_sweep_stream: general failure (the cable is loose)"},
    {"tt_read_stream_bytes", 0, Shown::Box, kCalibrationFailed,
     "read_stream_bytes: general failure (the cable is loose)"},
    {"tt_stop_calibration_stream", 0, Shown::Box, kCalibrationFailed,
     "stop_calibration_stream: general failure (the cable is loose)"}};

// Two frequencies on each of three delay lines.
Step calibrationStep() {
    return {"Calibration",
            true,
            nothing,
            [](FaultSweepStage& stage, bool) { stage.calibrate(); },
            "tt_read_stream_bytes",
            kCalibrationTellings,
            standardScene(),
            {{"tt_read_stream_bytes", 1, "tt_start_calibration_stream", 6}}};
}

Step firmwareCalibrationStep() {
    return {"FirmwareCalibration",
            true,
            nothing,
            [](FaultSweepStage& stage, bool) {
                const Environment byFirmware("QORN_CAL_FPGA_SWEEP");
                byFirmware.set("1");
                stage.calibrate();
            },
            "tt_read_stream_bytes",
            kCalibrationTellings,
            standardScene(),
            {{"tt_read_stream_bytes", 1, "tt_start_calibration_sweep_stream", 3}}};
}

Step applyCalibrationStep() {
    return {"ApplyCalibration",
            true,
            [](FaultSweepStage& stage) { stage.calibrate(); },
            [](FaultSweepStage& stage, bool) { stage.applyCalibration(); },
            nullptr,
            {{"tt_get_calibration_path", 0, Shown::Nowhere, "", ""}, // its own name for the file will do
             {"tt_upload_calibration_file", 0, Shown::Box, "Calibration",
              "Could not apply calibration: general failure: the cable is loose"},
             {"tt_set_tdl_active_masks", 0, Shown::Box, "Calibration",
              "Could not apply calibration: set_tdl_active_masks: general failure (the cable is loose)"},
             kClockAtTheEnd}};
}

// The functions that tell of a failure fail themselves: what is left of the text is shown.
Step textStep() {
    return {
        "FailureText",
        true,
        nothing,
        [](FaultSweepStage& stage, bool) { stage.measure(stage.coincidenceTab(), "", false); },
        nullptr,
        {{"tt_status_string", 0, Shown::Box, kCaptureError, "run_coincidence: "},
         {"tt_last_error", 0, Shown::Box, kCaptureError, "run_coincidence: general failure"}},
        standardScene(R"("faults": {"calls": [{"call": "tt_run_coincidence", "count": 0, "status": -1}]},)"),
        {},
        {"tt_status_string", "tt_last_error"}};
}

// Nobody is there to be told when the window has gone.
Step closeStep(const char* name, const char* function, void (*play)(FaultSweepStage&)) {
    return {name,
            true,
            play,
            [](FaultSweepStage& stage, bool) { stage.restartWindow(); },
            nullptr,
            {{function, 0, Shown::Nowhere, "", ""}},
            standardScene(),
            {},
            {function}};
}

Step closeRecordingStep() {
    return closeStep("CloseWhileRecording", "tt_stop_stream_mode", [](FaultSweepStage& stage) {
        stage.play(stage.recordingTab(), "tt_read_stream_bytes");
    });
}

Step closeCounterStep() {
    return closeStep("CloseWhileCounting", "tt_stop_measurement_stream", [](FaultSweepStage& stage) {
        stage.play(stage.counterTab(), "tt_read_count_stream_sample");
    });
}

} // namespace

std::vector<Step> allSteps() {
    return {scanStep(),
            resetStep(),
            connectStep(),
            inputStep(),
            clockStep(),
            clockPollStep(),
            clockWaitStep(),
            developerStep(),
            uploadStep(),
            counterStep(),
            internalCounterStep(),
            recordingStep(),
            internalRecordingStep(),
            coincidenceStep(),
            calibrationStep(),
            firmwareCalibrationStep(),
            applyCalibrationStep(),
            textStep(),
            closeRecordingStep(),
            closeCounterStep()};
}

} // namespace qorn::testing
