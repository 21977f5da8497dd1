#include "SceneLoader.h"

#include "SceneNode.h"
#include "SourceLoad.h"
#include "TimeBase.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <string>

namespace qorn::simulator {

namespace {

// Reads the members of one object; what was never asked for is refused by finish() as unknown.
class Members {
public:
    explicit Members(const SceneNode& node) : object(node) { object.requireObject(); }

    const SceneNode* find(std::string_view key) {
        known.insert(std::string(key));
        return object.find(key);
    }

    const SceneNode& required(std::string_view key) {
        const SceneNode* node = find(key);
        if (node == nullptr) {
            object.refuse("lacks the key \"" + std::string(key) + "\"");
        }
        return *node;
    }

    static double checked(const SceneNode& node, double lowest, double highest) {
        const double value = node.number();
        if (!(value >= lowest && value <= highest)) {
            node.refuse("must be from " + text(lowest) + " to " + text(highest));
        }
        return value;
    }

    static double checkedWhole(const SceneNode& node, double lowest, double highest) {
        const double value = checked(node, lowest, highest);
        if (value != std::floor(value)) {
            node.refuse("must be a whole number");
        }
        return value;
    }

    double number(std::string_view key, double fallback, double lowest, double highest) {
        const SceneNode* node = find(key);
        return node == nullptr ? fallback : checked(*node, lowest, highest);
    }

    template <typename Integer>
    Integer whole(std::string_view key, Integer fallback, double lowest, double highest) {
        const SceneNode* node = find(key);
        return node == nullptr ? fallback : static_cast<Integer>(checkedWhole(*node, lowest, highest));
    }

    std::optional<double> seconds(std::string_view key) {
        const SceneNode* node = find(key);
        return node == nullptr ? std::nullopt : std::optional(checked(*node, 0, 1e6));
    }

    bool boolean(std::string_view key, bool fallback) {
        const SceneNode* node = find(key);
        return node == nullptr ? fallback : node->boolean();
    }

    std::string string(std::string_view key, const std::string& fallback) {
        const SceneNode* node = find(key);
        return node == nullptr ? fallback : node->string();
    }

    // An input, counted from 1 in the file and from 0 here.
    int input(std::string_view key) { return inputOf(required(key)); }

    std::array<int, 2> twoInputs(std::string_view key) {
        const SceneNode& node = required(key);
        if (node.array().size() != 2) {
            node.refuse("must hold two inputs");
        }
        const std::array<int, 2> inputs{inputOf(node.elements()[0]), inputOf(node.elements()[1])};
        if (inputs[0] == inputs[1]) {
            node.refuse("must hold two different inputs");
        }
        return inputs;
    }

    template <typename Each>
    void each(std::string_view key, Each take) {
        if (const SceneNode* node = find(key)) {
            for (const SceneNode& element : node->array()) {
                take(element);
            }
        }
    }

    void finish() const {
        for (const SceneNode& member : object.elements()) {
            if (!known.contains(member.key())) {
                member.refuse("is not known here");
            }
        }
    }

    const SceneNode& node() const { return object; }

private:
    static int inputOf(const SceneNode& node) { return static_cast<int>(checkedWhole(node, 1, kInputs)) - 1; }

    static std::string text(double value) {
        std::array<char, 32> digits{};
        std::snprintf(digits.data(), digits.size(), "%.15g", value);
        return digits.data();
    }

    const SceneNode& object;
    std::set<std::string, std::less<>> known;
};

constexpr double kFastestHz = 2e8;
constexpr double kLongestPs = 1e12;
constexpr std::size_t kMostUnits = 8;

ClockShape readClock(Members& members) {
    ClockShape clock;
    clock.frequencyHz = Members::checked(members.required("frequency_hz"), 1e-3, kFastestHz);
    clock.offsetPpm = members.number("offset_ppm", 0, -1e5, 1e5);
    clock.driftPpm = members.number("drift_ppm", 0, 0, 1e5);
    clock.driftPeriodS = members.number("drift_period_s", clock.driftPeriodS, 1e-3, 1e6);
    clock.jitterPs = members.number("jitter_ps", 0, 0, kLongestPs);
    clock.phasePs = members.number("phase_ps", 0, 0, kLongestPs);
    return clock;
}

PairsSpec readPairs(Members& members) {
    PairsSpec pairs;
    pairs.inputs = members.twoInputs("inputs");
    pairs.rateHz = Members::checked(members.required("rate_hz"), 0, kFastestHz);
    pairs.delayPs = members.number("delay_ps", 0, -kLongestPs, kLongestPs);
    pairs.sigmaPs = members.number("sigma_ps", 0, 0, kLongestPs);
    if (const SceneNode* node = members.find("efficiencies")) {
        if (node->array().size() != pairs.efficiencies.size()) {
            node->refuse("must hold two numbers");
        }
        for (std::size_t i = 0; i < pairs.efficiencies.size(); ++i) {
            pairs.efficiencies[i] = Members::checked(node->elements()[i], 0, 1);
        }
    }
    return pairs;
}

DecaySpec readDecay(Members& members) {
    DecaySpec decay;
    decay.syncInput = members.input("sync_input");
    decay.input = members.input("input");
    decay.clock = readClock(members);
    decay.probability = members.number("probability", decay.probability, 0, 1);
    decay.lifetimePs = Members::checked(members.required("lifetime_ps"), 1, kLongestPs);
    decay.delayPs = members.number("delay_ps", 0, -kLongestPs, kLongestPs);
    decay.sigmaPs = members.number("sigma_ps", 0, 0, kLongestPs);
    return decay;
}

EmitterSpec readEmitter(Members& members) {
    EmitterSpec emitter;
    emitter.inputs = members.twoInputs("inputs");
    const SceneNode& rate = members.required("rate_hz");
    emitter.rateHz = Members::checked(rate, 1e-3, kFastestHz);
    emitter.lifetimePs = Members::checked(members.required("lifetime_ps"), 1, kLongestPs);
    emitter.pumpRateHz = members.number("pump_rate_hz", emitter.pumpRateHz, 1, 1e12);
    emitter.sigmaPs = members.number("sigma_ps", 0, 0, kLongestPs);
    const double emissionRate = 1 / (1 / emitter.pumpRateHz + emitter.lifetimePs * 1e-12);
    if (emitter.rateHz > emissionRate) {
        rate.refuse("is more than the emitter can send with this lifetime and pump rate");
    }
    return emitter;
}

BurstsSpec readBursts(Members& members) {
    BurstsSpec bursts;
    bursts.input = members.input("input");
    bursts.clock = readClock(members);
    bursts.pulses = members.whole("pulses", bursts.pulses, 1, 100000);
    bursts.spacingPs = members.number("spacing_ps", bursts.spacingPs, 1, kLongestPs);
    return bursts;
}

SourceSpec readSource(const SceneNode& node) {
    Members members(node);
    const SceneNode& kind = members.required("kind");
    const std::string& name = kind.string();
    SourceSpec source;
    if (name == "poisson") {
        source.kind =
            PoissonSpec{members.input("input"), Members::checked(members.required("rate_hz"), 0, kFastestHz)};
    } else if (name == "periodic") {
        source.kind = PeriodicSpec{members.input("input"), readClock(members)};
    } else if (name == "pairs") {
        source.kind = readPairs(members);
    } else if (name == "decay") {
        source.kind = readDecay(members);
    } else if (name == "emitter") {
        source.kind = readEmitter(members);
    } else if (name == "bursts") {
        source.kind = readBursts(members);
    } else {
        kind.refuse("must be one of poisson, periodic, pairs, decay, emitter, bursts");
    }
    source.amplitudeV = members.number("amplitude_v", source.amplitudeV, 0, 10);
    members.finish();
    return source;
}

// The source with which its unit would ask too much is the one that is refused.
std::vector<SourceSpec> readSources(const SceneNode& node) {
    std::vector<SourceSpec> sources;
    SourceLoad total;
    for (const SceneNode& element : node.array()) {
        total += loadOf(sources.emplace_back(readSource(element)));
        const std::string together = sources.size() > 1 ? ", with the sources before it," : "";
        if (total.pulsesPerSecond > kMostPulsesPerSecond) {
            element.refuse("makes" + together + " more pulses than can be played: at most 1e9 per second");
        }
        if (total.heldPulses > kMostHeldPulses) {
            element.refuse("spreads its pulses so widely that" + together +
                           " more than 1e7 of them would have to be held at once");
        }
    }
    if (sources.size() > kMostSources) {
        node.refuse("must hold at most 1000 sources");
    }
    return sources;
}

ReferenceSpec readReference(const SceneNode& node) {
    Members members(node);
    ReferenceSpec reference;
    reference.control = members.boolean("control", reference.control);
    reference.present = members.boolean("present", reference.present);
    reference.lockFault = members.boolean("lock_fault", reference.lockFault);
    reference.lockDelayS = members.number("lock_delay_s", reference.lockDelayS, 0, 1e6);
    reference.lostAfterS = members.seconds("lost_after_s");
    reference.backAfterS = members.seconds("back_after_s");
    members.finish();
    return reference;
}

constexpr std::array kFaultyCalls{
    "*",
    "tt_open",
    "tt_identify",
    "tt_set_dac_codes",
    "tt_set_input_dead_times",
    "tt_set_tdl_active_masks",
    "tt_set_reference_clock",
    "tt_get_reference_clock_status",
    "tt_set_period_cycles",
    "tt_set_window_cycles",
    "tt_start_count_stream",
    "tt_read_count_stream_sample",
    "tt_stop_measurement_stream",
    "tt_set_hw_coincidence_mask",
    "tt_set_hw_coincidence_offset_ps",
    "tt_run_coincidence",
    "tt_set_stream_interface",
    "tt_set_stream_channel_mask",
    "tt_set_packed_delta_config",
    "tt_set_calibration_freq",
    "tt_enable_calibration_source",
    "tt_disable_calibration_source",
    "tt_set_test_signal",
    "tt_start_stream_mode",
    "tt_stop_stream_mode",
    "tt_read_stream_bytes",
    "tt_start_calibration_stream",
    "tt_start_calibration_sweep_stream",
    "tt_stop_calibration_stream",
    "tt_upload_calibration_file",
};

CallFault readCallFault(const SceneNode& node) {
    Members members(node);
    CallFault fault;
    const SceneNode& call = members.required("call");
    fault.call = call.string();
    if (std::find(kFaultyCalls.begin(), kFaultyCalls.end(), fault.call) == kFaultyCalls.end()) {
        call.refuse("names no call that can fail; \"*\" stands for all of them");
    }
    fault.at = members.whole("at", fault.at, 1, 1e15);
    fault.count = members.whole("count", fault.count, 0, 1e15);
    fault.status = members.whole("status", fault.status, -1000, 0);
    fault.delayS = members.number("delay_ms", 0, 0, 1e6) * 1e-3;
    members.finish();
    return fault;
}

FaultsSpec readFaults(const SceneNode& node) {
    Members members(node);
    FaultsSpec faults;
    faults.unplugAfterS = members.seconds("unplug_after_s");
    if (members.find("unplug_at_read") != nullptr) {
        faults.unplugAtRead = members.whole<std::uint64_t>("unplug_at_read", 1, 1, 1e15);
    }
    faults.replugAfterS = members.seconds("replug_after_s");
    faults.lostBytesPerByte = members.number("lost_byte_rate", 0, 0, 1);
    members.each("lost_bytes_at", [&](const SceneNode& at) {
        faults.lostBytesAt.push_back(static_cast<std::uint64_t>(Members::checkedWhole(at, 0, 1e15)));
    });
    std::sort(faults.lostBytesAt.begin(), faults.lostBytesAt.end());
    faults.garbageBytesPerByte = members.number("garbage_byte_rate", 0, 0, 1);
    faults.startMidRecord = members.boolean("start_mid_record", false);
    faults.uploadFails = members.string("upload_fails", "");
    members.each("calls", [&](const SceneNode& call) { faults.calls.push_back(readCallFault(call)); });
    members.finish();
    return faults;
}

std::string readSerial(Members& members, std::size_t index) {
    const SceneNode* node = members.find("serial");
    if (node == nullptr) {
        return "SIM0000" + std::to_string(index + 1);
    }
    const std::string& serial = node->string();
    const auto allowed = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-';
    };
    // nobody may take a simulated unit for a real one
    if (serial.size() < 4 || serial.size() > 16 || !serial.starts_with("SIM") ||
        !std::all_of(serial.begin(), serial.end(), allowed)) {
        node->refuse("must begin with SIM and hold 4 to 16 letters, digits or hyphens");
    }
    return serial;
}

UnitSpec readUnit(const SceneNode& node, std::size_t index) {
    Members members(node);
    UnitSpec unit;
    unit.serial = readSerial(members, index);
    unit.seed = members.whole<std::uint64_t>("seed", index + 1, 0, 9007199254740992.0);
    if (const SceneNode* sources = members.find("sources")) {
        unit.sources = readSources(*sources);
    }
    unit.tdlJitterPs = members.number("tdl_jitter_ps", unit.tdlJitterPs, 0, 1000);
    unit.startCoarse = members.whole("start_coarse", unit.startCoarse, 0, 4294967295.0);
    unit.bufferBytes = members.whole("buffer_bytes", unit.bufferBytes, 64, 1e9);
    unit.repeatBlockMs = members.whole("repeat_block_ms", 0, 0, 1000);
    unit.syncMs = members.number("sync_ms", unit.syncMs, 0.001, 1e6);
    unit.syncRecords = members.whole("sync_records", unit.syncRecords, 1, 4294967295.0);
    unit.fineSyncMs = members.number("fine_sync_ms", unit.fineSyncMs, 0, 1e6);
    unit.syncMarker = members.boolean("sync_marker", unit.syncMarker);
    unit.beaconMs = members.number("beacon_ms", unit.beaconMs, 1, 1e6);
    unit.truthFile = members.string("truth_file", "");
    if (const SceneNode* reference = members.find("reference")) {
        unit.reference = readReference(*reference);
    }
    if (const SceneNode* faults = members.find("faults")) {
        unit.faults = readFaults(*faults);
    }
    members.finish();
    return unit;
}

} // namespace

Scene loadScene(std::string_view json) {
    const SceneNode document = SceneNode::parse(json);
    Members members(document);
    Scene scene;
    if (const SceneNode* pace = members.find("pace")) {
        if (pace->string() == "unpaced") {
            scene.pace = Pace::Unpaced;
        } else if (pace->string() != "realtime") {
            pace->refuse("must be realtime or unpaced");
        }
    }
    scene.durationS = members.number("duration_s", 0, 0, 1e6);
    std::set<std::string> serials;
    const SceneNode& units = members.required("units");
    if (units.array().size() > kMostUnits) {
        units.refuse("must hold at most eight units");
    }
    for (const SceneNode& node : units.array()) {
        const UnitSpec& unit = scene.units.emplace_back(readUnit(node, scene.units.size()));
        if (!serials.insert(unit.serial).second) {
            node.refuse("has the serial of another unit");
        }
    }
    members.finish();
    return scene;
}

} // namespace qorn::simulator
